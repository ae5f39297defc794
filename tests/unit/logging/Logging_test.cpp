#include "logging/Logging.h"

#include <array>
#include <cstdio>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Sandbox.h"

namespace {

/// What a process that ends at once has printed, by stdio with a buffer on both streams.
Outcome printedBefore(const Sandbox& sandbox, void (*action)()) {
  return sandbox.call([&] {
    static std::array<char, BUFSIZ> buffer;
    std::setvbuf(stderr, buffer.data(), _IOFBF, buffer.size());
    action();
    ::_exit(3);
  });
}

TEST(Logging, FlushesWhatOthersHavePrintedOnceThereIsALogFile) {
  const Sandbox sandbox;
  if (!sandbox.canLog()) GTEST_SKIP() << "the log file is another user's";
  EXPECT_EQ(printedBefore(sandbox,
                          [] {
                            Logging::EnableDebug();
                            Logging::Debug("begin");
                            std::fputs("host\n", stdout);
                            std::fputs("complaint\n", stderr);
                            Logging::FlushFiles();
                          }),
            (Outcome{3, "begin\nhost\ncomplaint\n"}));
  EXPECT_EQ(printedBefore(sandbox,
                          [] {
                            std::fputs("host\n", stdout);
                            Logging::FlushFiles();
                          }),
            (Outcome{3, ""}))
      << "without a log nothing is flushed";
}

TEST(Logging, WhatIsPrintedAppearsAtOnce) {
  const Sandbox sandbox;
  EXPECT_EQ(printedBefore(sandbox,
                          [] {
                            printConsole("%s %d\n", "first", 1);
                            Logging::Info({"second", " ", "2"});
                            Logging::Debug("never");
                          }),
            (Outcome{3, "first 1\nsecond 2\n"}));
}

TEST(Logging, TheLogBeginsAnewUnlessTheChildFlagIsSet) {
  const Sandbox sandbox;
  if (!sandbox.canLog()) GTEST_SKIP() << "the log file is another user's";
  const auto write = [&](const char* text, bool isChild) {
    return sandbox.call([=] {
      Logging::EnableDebug();
      if (isChild) Logging::SetChildProcessFlag();
      Logging::Debug(text);
      Logging::CloseHandle();
      Logging::Info("again");
    });
  };
  EXPECT_EQ(write("one", false).status, 0);
  const std::string first = sandbox.read(sandbox.logFile());
  EXPECT_EQ(write("two", true).status, 0);
  const std::string second = sandbox.read(sandbox.logFile());
  EXPECT_TRUE(second.starts_with(first) && second.find("two\n") != std::string::npos) << second;
  EXPECT_EQ(write("three", false).status, 0);
  EXPECT_EQ(sandbox.read(sandbox.logFile()), "again\n");
}

}  // namespace
