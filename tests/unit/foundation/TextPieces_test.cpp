#include "foundation/TextPieces.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(TextPieces, OfAPathListLieBetweenBothSeparators) {
  EXPECT_EQ(pathElements(":a;b c::d/"), (std::vector<std::string_view>{"a", "b c", "d/"}));
}

TEST(TextPieces, TheProgramsNameIsTheLastPartWithoutTheFirstExe) {
  EXPECT_EQ(GetBinaryNameFromPath("/opt/app/run.exe"), "run");
  EXPECT_EQ(GetBinaryNameFromPath("./a.exe.b.exe"), "a.b.exe");
  EXPECT_EQ(GetBinaryNameFromPath("/"), "");
}

}  // namespace
