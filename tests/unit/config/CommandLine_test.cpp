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

// Any line meets a model of both scans: fuzz/command_line.cpp.
TEST(CommandLine, TheArgumentAfterACommandMayBeItsValue) {
  EXPECT_EQ(scan({"--kill", "Abort"}).options, (Entries{{"commandline.argv.0", "Abort"},
                                                        {"wrapper.command", "--kill"},
                                                        {"wrapper.signal", "Abort"}}));
}

TEST(CommandLine, OptionsTakeTheirValueOffTheLine) {
  EXPECT_EQ(scan({"--propFile", "app.kvf", "--delayStart", "999", "--delayStart", "soon"}).options,
            (Entries{{"commandline.argv.0", "soon"}, {"wrapper.propertiesFile", "app.kvf"}}));
}

TEST(CommandLine, AnUnknownSwitchAsksForHelp) {
  EXPECT_EQ(scan({"--RUN", "--version"}).options, (Entries{{"wrapper.command", "--help"}}));
  EXPECT_EQ(scan({"--cleanInstall"}).options, (Entries{{"wrapper.command", "--help"}}));
}

TEST(CommandLine, DelayStartWaitsInSpiteOfSignals) {
  ::signal(SIGALRM, [](int) {});
  const itimerval once = {{0, 0}, {0, 700'000}};
  ::setitimer(ITIMER_REAL, &once, nullptr);
  const auto start = std::chrono::steady_clock::now();
  applyCommandLine(scan({"--delayStart", "1999"}));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
