#include "javarun/CommonTool.h"

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

TEST(ClassPathLimits, HaveDefaultsAndRanges) {
  EXPECT_EQ(limits({}), (Outcome{0, "4 4096"}));
  EXPECT_EQ(limits({{level, "1"}, {number, "1"}}), (Outcome{0, "1 1"}));
  EXPECT_EQ(limits({{level, "12"}, {number, "8192x"}}), (Outcome{0, "12 8192"}));
}

TEST(ClassPathLimits, OutOfRangeEndTheProcess) {
  const Outcome badLevel = {255, "extend class path search level not validate\n"};
  const Outcome badNumber = {255, "extend class path max lib number not validate\n"};
  for (const char* value : {"0", "13", "deep", "", "-1", "99999999999999999999"}) {
    EXPECT_EQ(limits({{level, value}, {number, "0"}}), badLevel) << value;
  }
  for (const char* value : {"0", "8193", ""}) {
    EXPECT_EQ(limits({{number, value}}), badNumber) << value;
  }
}

class ClassPathDirectory : public testing::Test {
 protected:
  /// The class path that a directory of the sandbox makes, the directory first, the rest sorted.
  [[nodiscard]] Texts expanded(const std::string& directory) const {
    const WString classPath = CommonTool::expandDirToClassPath(sandbox_.path(directory).c_str());
    Texts elements;
    for (const WString& element : CommonTool::splitEx(classPath, ":")) {
      elements.emplace_back(element.c_str() + sandbox_.path().size() + 1);
    }
    std::sort(elements.begin() + 1, elements.end());
    return elements;
  }

  Sandbox sandbox_;
};

TEST_F(ClassPathDirectory, WithTwoAsterisksBringsTheArchivesBelow) {
  for (const char* file : {"lib/1 b.jar", "lib/2/2.jar", "lib/2/3/3.jar", "lib/2/3/4/4.jar",
                           "s/x.jar.clas", "s/x.jar.bak"}) {
    sandbox_.write(file, "");
  }
  EXPECT_EQ(expanded("lib"), (Texts{"lib", "lib/1 b.jar"}));
  EXPECT_EQ(expanded("s"), (Texts{"s", "s/x.jar.clas"}));
  CommonConfig::searchLevel = 3;
  EXPECT_EQ(expanded("lib/**"), (Texts{"lib/**", "lib/1 b.jar", "lib/2/2.jar", "lib/2/3/3.jar"}));
  CommonConfig::libNumberOfOnePath = 2;
  EXPECT_EQ(expanded("lib/**").size(), 3U);
}

TEST_F(ClassPathDirectory, ThatIsNotThereStays) {
  EXPECT_EQ(expanded("none"), Texts{"none"});
  EXPECT_EQ(CommonTool::expandDirToClassPath("**"), "**");
}

TEST(SplitEx, WithoutASeparatorIsTheWholeText) {
  EXPECT_EQ(CommonTool::splitEx("a b", ""), (Texts{"a b"}));
}

TEST(IsContainsSpace, LooksForTheSpaceOnly) {
  EXPECT_TRUE(CommonTool::isContainsSpace("ab "));
  EXPECT_FALSE(CommonTool::isContainsSpace("a\tb"));
}

}  // namespace
