#include <algorithm>
#include <regex>

#include <sys/resource.h>

#include "e2e/LifecycleTest.h"

namespace {

/// Start and end of a hosted JVM, as `java` has them.
class Lifecycle : public LifecycleTest {};

TEST_F(Lifecycle, OthersSeeTheMainThreadEnd) {
  lifecycle();
  EXPECT_EQ(startJava("join").wait(), (Outcome{0, "joined main\nhook\n"}));
}

TEST_F(Lifecycle, TheJvmHasExactlyTheOptionsThatDebuggingShows) {
  lifecycle("java.property.a=1\njava.heap.size.max=64m\n");
  const Outcome outcome = java({"--debug", "--run", "options"});
  std::string shown;
  const std::regex option("Option \\d+ = \"(.*)\"\n");
  for (std::sregex_iterator it(outcome.out.begin(), outcome.out.end(), option), end; it != end;
       ++it) {
    // The class path is not among them.
    if (!it->str(1).starts_with("-Djava.class.path=")) shown += it->str(1) + "\n";
  }
  EXPECT_TRUE(outcome.has("\n" + shown + "WRAPPER - Just returned"));
}

TEST_F(Lifecycle, AJvmThatRefusesItsOptionsEndsByItself) {
  lifecycle("java.heap.size.max=64m\njava.heap.size.initial=128m\n");
  EXPECT_EQ(startJava("wait").wait(),
            (Outcome{1,
                     "Error occurred during initialization of VM\n"
                     "Initial heap size set to a larger value than the maximum heap size\n"}));
}

TEST_F(Lifecycle, TheStackSizeHoldsForMainToo) {
  rlimit limit = {};
  ::getrlimit(RLIMIT_STACK, &limit);
  if (limit.rlim_max < (128UL << 20)) GTEST_SKIP() << "the hard stack limit is low";
  lifecycle("java.thread.stack.size=64m\n");
  EXPECT_EQ(startJava("recurse").wait(), (Outcome{0, "deep\nhook\n"}));
  lifecycle();
  EXPECT_EQ(startJava("recurse").wait(), (Outcome{0, "shallow\nhook\n"}));
}

}  // namespace
