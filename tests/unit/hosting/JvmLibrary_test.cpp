#include "hosting/JvmLibrary.h"

#include <cstring>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(JvmLibrary, IsTheConfiguredFileElseTheSystemsDefault) {
  using Source = JvmLibrary::Source;
  const auto choice = [](const char* configured) {
    const auto isThere = [](const char* path) { return std::strcmp(path, "there.so") == 0; };
    const JvmLibrary library = JvmLibrary::choose(configured, isThere);
    return std::pair(library.source, std::string(library.path.view()));
  };
  EXPECT_EQ(choice("there.so"), std::pair(Source::configured, std::string("there.so")));
  EXPECT_EQ(choice("missing.so"), std::pair(Source::systemDefault, std::string("libjvm.so")));
  EXPECT_EQ(choice(""), std::pair(Source::none, std::string()));
}

}  // namespace
