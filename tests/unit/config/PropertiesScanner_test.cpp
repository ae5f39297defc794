#include "config/PropertiesScanner.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

Entries scan(std::string_view text) {
  PropertiesScanner scanner(text);
  Entries entries;
  for (PropertiesEntry entry; scanner.next(entry);) {
    entries.emplace_back(entry.key.view(), entry.value.view());
  }
  return entries;
}

// Any text meets a model of the rules: fuzz/properties.cpp.
TEST(PropertiesScanner, TheFirstSeparatorEndsTheKey) {
  EXPECT_EQ(scan(" \t key=a=b:c d \n"), (Entries{{"key", "a=b:c d "}}));
  EXPECT_EQ(scan("=v=1\n"), (Entries{{"=v", "1"}}));
}

TEST(PropertiesScanner, OneEqualsSignInFrontOfAValueIsDropped) {
  EXPECT_EQ(scan("key = value\n"), (Entries{{"key", " value"}}));
  EXPECT_EQ(scan("key===value\n"), (Entries{{"key", "=value"}}));
  EXPECT_EQ(scan("key := value\n"), (Entries{{"key", ":= value"}}));
}

TEST(PropertiesScanner, ABackslashContinuesTheLine) {
  EXPECT_EQ(scan("a=one\\\n  two\n"), (Entries{{"a", "one  two"}}));
  EXPECT_EQ(scan("a=one\\\r\n  two=3\n"), (Entries{{"a", "one"}, {"two", "3"}}));
}

}  // namespace
