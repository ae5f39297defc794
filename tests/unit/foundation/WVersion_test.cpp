#include "foundation/WVersion.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(WVersion, TellsEveryPart) {
  const WVersion version;
  EXPECT_EQ(version.getDescription(), "VELOX Wrapper, 2.4.6 V1 64bit");
  EXPECT_EQ(version.getVersion(), "2.4.6 V1");
  EXPECT_EQ(version.getMajorVersion(), 2);
  EXPECT_EQ(version.getMinorVersion(), 4);
  EXPECT_EQ(version.getPatchVersion(), 6);
  EXPECT_EQ(version.getLabel(), 1);
}

}  // namespace
