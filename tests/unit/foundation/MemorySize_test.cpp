#include "foundation/MemorySize.h"

#include <gtest/gtest.h>

namespace {

TEST(MemorySize, IsReadAsAJvmReadsIt) {
  EXPECT_EQ(memorySize("512"), 512U);
  EXPECT_EQ(memorySize("2k"), 2048U);
  EXPECT_EQ(memorySize("64M"), std::size_t{64} << 20);
  EXPECT_EQ(memorySize("3g"), std::size_t{3} << 30);
  EXPECT_EQ(memorySize("1T"), std::size_t{1} << 40);
  EXPECT_EQ(memorySize("18446744073709551615"), 18446744073709551615U);
  for (const char* text :
       {"", "m", "1x", "1mb", "1.5m", "-1", " 1", "18446744073709551616", "16777216t"}) {
    EXPECT_EQ(memorySize(text), std::nullopt) << text;
  }
}

}  // namespace
