#include "foundation/JMap.h"

#include <gtest/gtest.h>

namespace {

TEST(JMap, HashesTextsLikeElf) {
  const JMap<WString, int> map(41);
  EXPECT_EQ(map.getHashIndex(WString()), 0U);
  EXPECT_EQ(map.getHashIndex(WString("ab")), 1650U);
  EXPECT_EQ(map.getHashIndex(WString("wrapper.command")), 0x2368D84U);
  EXPECT_EQ(map.getHashIndex(WString("\xFF")), 0x0FFFFF0FU);
}

TEST(JMap, HashesNumbersByTheirLowerHalf) {
  const JMap<long, int> map(41);
  EXPECT_EQ(map.getHashIndex(0x1C00003E8L), 0xC00003E8U);
  EXPECT_EQ(map.getHashIndex(-1), 0xFFFFFFFFU);
  EXPECT_EQ(map.getHashIndex(reinterpret_cast<const void*>(0x100000007)), 7U);
}

TEST(JMap, ClearingForgetsEveryEntry) {
  JMap<long, int> map(2);
  map.put(1, 10);
  map.clear();
  EXPECT_EQ(map.size(), 0);
  EXPECT_EQ(map.get(1), nullptr);
}

}  // namespace
