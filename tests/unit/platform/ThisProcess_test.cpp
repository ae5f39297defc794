#include "platform/ThisProcess.h"

#include <cstdlib>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Child.h"

namespace {

TEST(StandardStreams, AreOpenAfterwards) {
  for (const int closed : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const auto action = [&] {
      ::close(closed);
      openClosedStandardStreams();
      std::exit(::fcntl(closed, F_GETFD) < 0 ? 1 : 0);
    };
    EXPECT_EQ(inChild(action), Outcome()) << closed;
  }
}

}  // namespace
