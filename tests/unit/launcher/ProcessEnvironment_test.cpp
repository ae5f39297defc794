#include "launcher/ProcessEnvironment.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "launcher/wrap.h"
#include "support/Child.h"
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

TEST(WrapperMain, NeedsAProgramName) {
  char* none[] = {nullptr};
  EXPECT_EQ(inChild([&] { std::exit(WrapperMain(0, none, nullptr, nullptr)); }),
            (Outcome{255, "The program name is missing\n"}));
}

}  // namespace
