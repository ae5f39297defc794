#include "logging/Logging.h"

#include <gtest/gtest.h>

#include "support/Child.h"

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

}  // namespace
