#include "platform/StackLimit.h"

#include <sstream>

#include <gtest/gtest.h>

namespace {

std::size_t roomIn(const std::string& maps) {
  std::istringstream text(maps);
  return roomForStack(text);
}

TEST(StackLimit, RoomEndsAtWhatIsMappedBelowTheStack) {
  const std::string library = "10000000-20000000 r-xp 00000000 08:01 7 /lib/libc.so.6\n";
  const std::string stack = "3ffdf000-40000000 rw-p 00000000 00:00 0 [stack]\n";
  EXPECT_EQ(roomIn(library + stack), 0x20000000U - 0x1000000U);
  EXPECT_EQ(roomIn(library + "20000000-3f800000 rw-p 00000000 00:00 0\n" + stack), 0U);
  EXPECT_EQ(roomIn(library + "unreadable\n"), 0U);
}

}  // namespace
