#include "launcher/wrap.h"

#include <csignal>
#include <cstdlib>
#include <exception>

#include <gtest/gtest.h>

#include "launcher/ExceptionEnd.h"
#include "support/Child.h"

namespace {

TEST(WrapperMain, NeedsAProgramName) {
  char* none[] = {nullptr};
  EXPECT_EQ(inChild([&] { std::exit(WrapperMain(0, none, nullptr, nullptr)); }),
            (Outcome{255, "The program name is missing\n"}));
}

TEST(EndWithoutException, OnlySpeaksOfMemoryWhenThereIsNone) {
  EXPECT_EQ(inChild([] {
              const EndWithoutException end;
              std::terminate();
            }),
            (Outcome{128 + SIGABRT, "terminate called without an active exception\n"}));
}

}  // namespace
