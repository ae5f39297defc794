#include "hosting/JvmLibrary.h"

#include <cstring>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(JvmLibrary, IsTheConfiguredFileOrTheSystemsDefault) {
  using Source = JvmLibrary::Source;
  struct Row {
    const char* configured;
    Source source;
    const char* path;
  };
  const Row rows[] = {
      {"there.so", Source::configured, "there.so"},
      {"missing.so", Source::systemDefault, "libjvm.so"},
      {"", Source::none, ""},
  };
  for (const Row& row : rows) {
    const JvmLibrary library = JvmLibrary::choose(
        row.configured, [](const char* path) { return std::strcmp(path, "there.so") == 0; });
    EXPECT_EQ(library.source, row.source) << row.configured;
    EXPECT_EQ(library.path, row.path) << row.configured;
  }
}

}  // namespace
