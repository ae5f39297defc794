#include "kvf/formats/Manifest.h"

#include <gtest/gtest.h>

namespace {

TEST(Manifest, MainAttributes) {
  struct Case {
    const char* text;
    const char* value;
  };
  const Case cases[] = {
      {"Main-Class: acme.Main\n", "acme.Main"},
      {"main-class:acme.Main \r\nX: y\r\n", "acme.Main"},
      {"Main-Class: acm\n e.Ma\n in", "acme.Main"},
      {"Main-Class: acm\r\n e.Main\rX: y", "acme.Main"},
      {"no attribute\nMain-Class: acme.Main", "acme.Main"},
      {"Name: x\n\nMain-Class: acme.Main\n", ""},
      {"Main-Class:  \n", ""},
      {"", ""},
  };
  for (const Case& row : cases)
    EXPECT_EQ(attributeOf(parseManifest(row.text), "Main-Class"), row.value) << row.text;
}

}  // namespace
