#include "platform/StackLimit.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "support/Child.h"

namespace {

TEST(StackLimit, RoomEndsAtWhatIsMappedBelowTheStack) {
  const std::string library = "10000000-20000000 r-xp 00000000 08:01 7 /lib/libc.so.6\n";
  const std::string stack = "3ffdf000-40000000 rw-p 00000000 00:00 0 [stack]\n";
  EXPECT_EQ(roomForStack(library + stack), 0x20000000U - 0x1000000U);
  EXPECT_EQ(roomForStack(library + "20000000-3f800000 rw-p 00000000 00:00 0\n" + stack), 0U);
  EXPECT_EQ(roomForStack(library + "unreadable\n"), 0U);
}

TEST(StackLimit, IsRaisedAndNeverLowered) {
  const auto soft = [] {
    rlimit limit = {};
    ::getrlimit(RLIMIT_STACK, &limit);
    return limit.rlim_cur;
  };
  EXPECT_EQ(inChild([&] {
              rlimit limit = {1 << 20, 2 << 20};
              ::setrlimit(RLIMIT_STACK, &limit);
              for (const std::size_t bytes : {1U << 19, 3U << 19, 3U << 20}) {
                raiseStackLimit(bytes);
                std::printf("%lu\n", soft());
              }
            }),
            (Outcome{0, "1048576\n1572864\n2097152\n"}));
}

}  // namespace
