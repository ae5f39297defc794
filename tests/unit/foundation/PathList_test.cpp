#include <gtest/gtest.h>

#include "foundation/TextPieces.h"
#include "support/Values.h"

namespace {

TEST(PathList, HasElementsBetweenBothSeparators) {
  EXPECT_EQ(pathElements(":a;b c::d/"), (std::vector<std::string_view>{"a", "b c", "d/"}));
  EXPECT_EQ(withoutTrailingSlash("d/"), "d");
}

TEST(BinaryName, IsTheLastPartWithoutTheFirstExe) {
  EXPECT_EQ(GetBinaryNameFromPath("/opt/app/run.exe"), "run");
  EXPECT_EQ(GetBinaryNameFromPath("run"), "run");
  EXPECT_EQ(GetBinaryNameFromPath("./a.exe.b.exe"), "a.b.exe");
  EXPECT_EQ(GetBinaryNameFromPath("/"), "");
}

}  // namespace
