#include "javarun/ArgumentSplitter.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

// Any text meets a model of the rules: fuzz/arguments.cpp.
TEST(ArgumentSplitter, EachLaunchWayHasItsRules) {
  struct Row {
    const char* text;
    Texts hosted, external, native;
  };
  const Row rows[] = {
      {R"(a ""c)", {"a", "", "c"}, {"a", "c"}, {"a", "", "c"}},
      {R"(a"b c"d)", {"ab", "cd"}, {"ab", "cd"}, {R"(a"b)", R"(c"d)"}},
      {R"("a b"c"d e)", {"a bcd", "e"}, {"a bcd", "e"}, {"a b", "e"}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(splitArguments(row.text, LaunchWay::hostedJava), row.hosted) << row.text;
    EXPECT_EQ(splitArguments(row.text, LaunchWay::externalJava), row.external) << row.text;
    EXPECT_EQ(splitArguments(row.text, LaunchWay::nativeLibrary), row.native) << row.text;
  }
}

TEST(ArgumentSplitter, ArgumentsOfTheCommandLineStayWholeUpToTheFirstGap) {
  const SimpleProperties properties = props({{"application.args", "f g"},
                                             {"commandline.argv.0", "prog"},
                                             {"commandline.argv.1", "a b"},
                                             {"commandline.argv.3", "lost"}});
  EXPECT_EQ(applicationArguments(properties, LaunchWay::hostedJava), (Texts{"f", "g", "a b"}));
  EXPECT_EQ(applicationArguments(properties, LaunchWay::externalJava), (Texts{"f", "g", "a b"}));
  EXPECT_EQ(applicationArguments(properties, LaunchWay::nativeLibrary),
            (Texts{"prog", "a b", "f", "g"}));
}

}  // namespace
