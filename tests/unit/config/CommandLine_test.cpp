#include "config/CommandLine.h"

#include <chrono>
#include <csignal>

#include <gtest/gtest.h>
#include <sys/time.h>

#include "support/Values.h"

namespace {

CommandLine scan(Texts arguments) {
  return scanCommandLine(static_cast<int>(arguments.size()), pointersTo(arguments).data());
}

SimpleProperties optionsOnly(Texts arguments) {
  return ParseCommandLineOnly(static_cast<int>(arguments.size()), pointersTo(arguments).data());
}

TEST(CommandLine, TheLastCommandCounts) {
  EXPECT_EQ(scan({"--start", "--run"}).options, (Entries{{"wrapper.command", "--run"}}));
  EXPECT_EQ(scan({"--startSync"}).options, (Entries{{"wrapper.command", "--startSync"}}));
  EXPECT_EQ(scan({"--version"}).options, (Entries{{"wrapper.command", "--version"}}));
}

TEST(CommandLine, TheArgumentAfterACommandMayBeItsValue) {
  EXPECT_EQ(scan({"--kill", "Abort"}).options, (Entries{{"commandline.argv.0", "Abort"},
                                                        {"wrapper.command", "--kill"},
                                                        {"wrapper.signal", "Abort"}}));
  EXPECT_EQ(scan({"--ntservice", "n"}).options, (Entries{{"commandline.argv.0", "n"},
                                                         {"ntservice.name", "n"},
                                                         {"wrapper.command", "--ntservice"}}));
  EXPECT_EQ(scan({"--generateScript", "x"}).options,
            (Entries{{"commandline.argv.0", "x"},
                     {"wrapper.command", "--generateScript"},
                     {"wrapper.scriptArgument", "x"}}));
  EXPECT_EQ(scan({"--kill"}).options,
            (Entries{{"wrapper.command", "--kill"}, {"wrapper.signal", ""}}));
}

TEST(CommandLine, PositionalArgumentsAreNumbered) {
  EXPECT_EQ(scan({"prog", "-x", "--run", "", "b c"}).options,
            (Entries{{"commandline.argv.0", "prog"},
                     {"commandline.argv.1", "-x"},
                     {"commandline.argv.2", ""},
                     {"commandline.argv.3", "b c"},
                     {"wrapper.command", "--run"}}));
}

TEST(CommandLine, OptionsTakeTheirValueOffTheLine) {
  EXPECT_EQ(scan({"--propFile", "app.kvf"}).options,
            (Entries{{"wrapper.propertiesFile", "app.kvf"}}));
  EXPECT_EQ(scan({"--propFile"}).options, (Entries{{"wrapper.propertiesFile", ""}}));
  EXPECT_EQ(scan({"--delayStart", "999", "a", "--delayStart", "-5000"}).options,
            (Entries{{"commandline.argv.0", "a"}}));
  EXPECT_EQ(scan({"--delayStart", "soon"}).options, (Entries{{"commandline.argv.0", "soon"}}));
}

TEST(CommandLine, FlagsBecomeProperties) {
  EXPECT_EQ(scan({"--pid", "--silent"}).options,
            (Entries{{"wrapper.displaypid", "--pid"}, {"wrapper.silent.flag", "true"}}));
  const CommandLine inner = scan({"--innerProcess"});
  EXPECT_EQ(inner.options, (Entries{{"wrapper.property.innerProcess", "true"}}));
  EXPECT_TRUE(inner.innerProcess);
  EXPECT_FALSE(inner.adjustmentChild);
  const CommandLine adjusting = scan({"--adjust"});
  EXPECT_EQ(adjusting.options, (Entries{{"wrapper.adjust", "true"}}));
  EXPECT_TRUE(adjusting.adjustmentChild);
  EXPECT_FALSE(adjusting.innerProcess);
}

TEST(CommandLine, VariablesAreASetOfTheirOwn) {
  const CommandLine line =
      scan({"--propVar", "PORT=80", "--propVar", "A=B=C", "--propVar", "X", "--propVar"});
  EXPECT_EQ(line.options, Entries());
  EXPECT_EQ(line.variables, (Entries{{"wrapper.variable.PORT", "80"},
                                     {"wrapper.variable.A", "B=C"},
                                     {"wrapper.variable.X", "X"},
                                     {"wrapper.variable.", ""}}));
}

TEST(CommandLine, AnUnknownSwitchAsksForHelp) {
  const Entries help = {{"wrapper.command", "--help"}};
  EXPECT_EQ(scan({"--RUN", "--version"}).options, help);
  EXPECT_EQ(scan({"--runs"}).options, help);
  EXPECT_EQ(scan({"--"}).options, help);
  EXPECT_EQ(scan({"--cleanInstall"}).options, help);
}

TEST(CommandLine, TheScanForOptionsAloneKnowsOtherSwitches) {
  EXPECT_EQ(optionsOnly({"--cleanInstall"}), (Entries{{"wrapper.command", "--cleanInstall"}}));
  EXPECT_EQ(optionsOnly({"--adjust"}), (Entries{{"wrapper.command", "--help"}}));
  EXPECT_EQ(optionsOnly({"--kill", "Abort", "--pid"}), (Entries{{"commandline.argv.0", "Abort"},
                                                                {"wrapper.command", "--kill"},
                                                                {"wrapper.displaypid", "--pid"}}));
}

TEST(CommandLine, DelaysAddUpInWholeSeconds) {
  EXPECT_EQ(scan({"--delayStart", "1999", "--delayStart", "2000"}).delaySeconds, 3U);
  EXPECT_EQ(scan({"--delayStart", "-5000"}).delaySeconds, 0U);
}

TEST(CommandLine, DelayStartWaitsWhateverSignalsCome) {
  ::signal(SIGALRM, [](int) {});
  const itimerval once = {{0, 0}, {0, 700'000}};
  ::setitimer(ITIMER_REAL, &once, nullptr);
  const auto start = std::chrono::steady_clock::now();
  applyCommandLine(scan({"--delayStart", "1999"}));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
