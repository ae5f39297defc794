#include "config/PropertiesLocation.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

class PropertiesLocationTest : public testing::Test {
 protected:
  PropertiesLocationTest() {
    for (const char* file : {"here.kvf", "a/other.kvf", "a/both.kvf", "b/both.kvf", "b/in-b.kvf"}) {
      sandbox_.write(file, "");
    }
    std::filesystem::current_path(sandbox_.path());
  }

  Sandbox sandbox_;
};

/// What the name becomes along the path.
WString searched(WString name, const char* path) {
  path == nullptr ? ::unsetenv("PATH") : ::setenv("PATH", path, 1);
  const WString before = name;
  const bool found = SearchPropFileInPATH(name);
  EXPECT_EQ(found, name != before) << before.c_str();
  return name;
}

TEST_F(PropertiesLocationTest, IsInTheFirstDirectoryOfThePathThatHoldsIt) {
  EXPECT_EQ(searched("in-b.kvf", "a:b"), "b/in-b.kvf");
  EXPECT_EQ(searched("both.kvf", "a/:b"), "a/both.kvf");
  EXPECT_EQ(searched("both.kvf", "none;b\\;a"), "b/both.kvf");
  EXPECT_EQ(searched("both.kvf", "a//:b"), "a//both.kvf");
}

TEST_F(PropertiesLocationTest, IsNowhereElse) {
  EXPECT_EQ(searched("a/other.kvf", "."), "a/other.kvf");
  EXPECT_EQ(searched("etc", "/"), "etc");
  EXPECT_EQ(searched("both.kvf", nullptr), "both.kvf");
}

TEST_F(PropertiesLocationTest, AnEmptyPieceOfThePathHidesTheNextOne) {
  EXPECT_EQ(searched("in-b.kvf", "a::b"), "in-b.kvf");
  EXPECT_EQ(searched("both.kvf", ":a:b"), "b/both.kvf");
}

TEST_F(PropertiesLocationTest, GoesByTheNameOfTheProgramOrOfTheOption) {
  ::setenv("PATH", sandbox_.path("a").c_str(), 1);
  const std::string here = sandbox_.path("here.kvf");
  const std::string other = sandbox_.path("a/other.kvf");
  struct Row {
    const char* program;
    Entries options;
    std::string name;
    std::string fullPath;
  };
  const Row rows[] = {
      {"/opt/bin/here", {}, "here.kvf", here},
      {"here.exe", {}, "here.kvf", here},
      {"other", {}, other, other},
      {"nowhere", {}, "nowhere.kvf", "nowhere.kvf"},
      {"x", {{"wrapper.propertiesFile", "here.kvf"}}, "here.kvf", here},
      {"x", {{"wrapper.propertiesFile", "other.kvf"}}, "other.kvf", "other.kvf"},
      {"here", {{"wrapper.propertiesFile", "a/other.kvf"}}, "a/other.kvf", "a/other.kvf"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.program) + " " + testing::PrintToString(row.options));
    const PropertiesLocation location = locatePropertiesFile(props(row.options), row.program);
    EXPECT_EQ(location.name.view(), row.name);
    EXPECT_EQ(location.fullPath.view(), row.fullPath);
  }
}

}  // namespace
