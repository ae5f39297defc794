#include "javarun/ClassPath.h"

#include <algorithm>
#include <cstdio>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

const std::string level = "velox.class.path.extended.search.level";
const std::string number = "velox.class.path.extended.max.lib.number";

/// The limits that the properties give, or how they end the process.
Outcome limits(const Entries& properties) {
  return inChild([&] {
    CommonConfig::initConfig(props(properties));
    std::printf("%d %d", CommonConfig::searchLevel, CommonConfig::libNumberOfOnePath);
  });
}

TEST(ClassPathLimits, HaveStandardsAndRanges) {
  EXPECT_EQ(limits({}), (Outcome{0, "4 4096"}));
  EXPECT_EQ(limits({{level, "1"}, {number, "1"}}), (Outcome{0, "1 1"}));
  EXPECT_EQ(limits({{level, "12"}, {number, "8192x"}}), (Outcome{0, "12 8192"}));
}

TEST(ClassPathLimits, OutOfRangeEndTheProcess) {
  const Outcome badLevel = {255, "extend class path search level not validate\n"};
  const Outcome badNumber = {255, "extend class path max lib number not validate\n"};
  EXPECT_EQ(limits({{level, "0"}, {number, "0"}}), badLevel);
  EXPECT_EQ(limits({{number, "8193"}}), badNumber);
  for (const char* value : {"13", "deep", "", "-1", "99999999999999999999"}) {
    EXPECT_EQ(searchLevelLimit.in(props({{level, value}})), std::nullopt) << value;
  }
}

// Any list meets a model of the rules: fuzz/class_path.cpp.
TEST(ClassPath, TakesBothSeparatorsWithoutOneTrailingSlash) {
  EXPECT_EQ(joinedClassPath(expandedClassPath("lib/a.jar;;a.class/:/:nowhere//")),
            "lib/a.jar:a.class:nowhere/:");
}

TEST(ClassPath, OfADirectoryHasItsArchives) {
  Sandbox sandbox;
  for (const char* file : {"lib/1 b.jar", "lib/2/2.jar", "lib/2/3/3.jar", "lib/2/3/4/4.jar",
                           "s/x.jar.clas", "s/x.jar.bak"}) {
    sandbox.write(file, "");
  }
  const auto expanded = [&](const std::string& directory) {
    std::string text = joinedClassPath(expandedClassPath(sandbox.path(directory))).c_str();
    Texts elements;
    for (std::size_t end = 0; (end = text.find(':')) != std::string::npos; text.erase(0, end + 1)) {
      elements.push_back(text.substr(0, end).substr(sandbox.path().size() + 1));
    }
    std::sort(elements.begin() + 1, elements.end());
    return elements;
  };
  EXPECT_EQ(expanded("lib/"), (Texts{"lib", "lib/1 b.jar"}));
  EXPECT_EQ(expanded("s"), (Texts{"s", "s/x.jar.clas"}));
  EXPECT_EQ(expanded("none"), Texts{"none"});
  CommonConfig::searchLevel = 3;
  EXPECT_EQ(expanded("lib/**"), (Texts{"lib/**", "lib/1 b.jar", "lib/2/2.jar", "lib/2/3/3.jar"}));
  CommonConfig::libNumberOfOnePath = 2;
  EXPECT_EQ(expanded("lib/**").size(), 3U);
}

}  // namespace
