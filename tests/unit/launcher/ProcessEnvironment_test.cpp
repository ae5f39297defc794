#include "launcher/ProcessEnvironment.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(RemoveEmptyPathSeparators, LeavesOneOfEachRun) {
  EXPECT_EQ(RemoveEmptyPathSeparators(":a:::b::", ':'), ":a:b:");
  EXPECT_EQ(RemoveEmptyPathSeparators("a;;b::c", ';'), "a;b::c");
}

TEST(IsSpace, LooksForTheSpaceOnly) {
  EXPECT_TRUE(isSpace("ab "));
  EXPECT_FALSE(isSpace("a\tb"));
}

TEST(CallExecvp_IfNecessary, LeavesAServiceAlone) {
  CallExecvp_IfNecessary(true, true, nullptr);
  CallExecvp_IfNecessary(false, false, nullptr);
}

}  // namespace
