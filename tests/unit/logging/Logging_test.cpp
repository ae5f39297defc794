#include "logging/Logging.h"

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

TEST(Logging, ShowsInfoAndFatalMessagesButNoDebugOnes) {
  EXPECT_EQ(inChild([] {
              Logging::Debug("unseen");
              Logging::Info({"seen ", "in pieces"});
              Logging::FatalError({"the", " end"});
            }),
            (Outcome{255, "seen in pieces\nthe end\n"}));
}

TEST(Logging, SilenceChangesNothing) {
  EXPECT_EQ(inChild([] {
              Logging::EnableSilent();
              Logging::Info("seen");
              Logging::FatalError("x");
            }),
            (Outcome{255, "seen\nx\n"}));
}

TEST(Logging, TellsThatTheFileIsClosedIfItIsOpen) {
  const Sandbox sandbox;
  if (!sandbox.canLog()) GTEST_SKIP() << "the log file is another user's";
  const std::string closing = "before\nClosing log file handle and setting it to NULL\n";
  EXPECT_EQ(sandbox.call([] {
    Logging::EnableDebug();
    Logging::CloseHandle();
    Logging::Debug("before");
    Logging::CloseHandle();
  }),
            (Outcome{0, closing}));
  EXPECT_EQ(sandbox.read(sandbox.logFile()), closing);
}

}  // namespace
