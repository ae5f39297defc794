#include "hosting/JvmLibrary.h"

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

TEST(JvmLibrary, IsTheConfiguredFileElseTheSystemsDefault) {
  using Source = JvmLibrary::Source;
  Sandbox sandbox;
  const std::string there = sandbox.write("there.so", "");
  const auto choice = [](const std::string& configured) {
    const JvmLibrary library = JvmLibrary::choose(configured.c_str());
    return std::pair(library.source, std::string(library.path.view()));
  };
  EXPECT_EQ(choice(there), std::pair(Source::configured, there));
  EXPECT_EQ(choice("missing.so"), std::pair(Source::systemDefault, std::string("libjvm.so")));
  EXPECT_EQ(choice(""), std::pair(Source::none, std::string()));
}

}  // namespace
