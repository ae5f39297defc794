#include "launcher/wrap.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Child.h"

namespace {

TEST(WrapperMain, NeedsAProgramName) {
  char* none[] = {nullptr};
  EXPECT_EQ(inChild([&] { std::exit(WrapperMain(0, none, nullptr, nullptr)); }),
            (Outcome{255, "The program name is missing\n"}));
}

}  // namespace
