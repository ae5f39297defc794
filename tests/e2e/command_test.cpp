#include "e2e/WrapperTest.h"

namespace {

class Command : public WrapperTest {};

TEST_F(Command, VersionIsShownWhole) {
  kvf("");
  EXPECT_EQ(
      wrapper({"--version"}),
      (Outcome{0,
               "\n\nVELOX Wrapper\nCopyright (c) 2026 the VELOX Wrapper authors.\n"
               "All rights reserved.\n\nVersion 2.4.6\n\nVELOX Wrapper, 2.4.6 V1 64bit\n\n"}));
}

}  // namespace
