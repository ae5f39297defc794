#include "platform/StackLimit.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(StackLimit, RoomEndsAtWhatIsMappedBelowTheStack) {
  const std::string library = "10000000-20000000 r-xp 00000000 08:01 7 /lib/libc.so.6\n";
  const std::string stack = "3ffdf000-40000000 rw-p 00000000 00:00 0 [stack]\n";
  EXPECT_EQ(roomForStack(library + stack), 0x20000000U - 0x1000000U);
  EXPECT_EQ(roomForStack(library + "20000000-3f800000 rw-p 00000000 00:00 0\n" + stack), 0U);
  EXPECT_EQ(roomForStack(library + "unreadable\n"), 0U);
}

}  // namespace
