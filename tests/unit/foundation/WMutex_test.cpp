#include "foundation/WMutex.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(WMutex, KindZeroNeverBlocks) {
  WMutex none(0);
  EXPECT_EQ(none.Lock(), 1U);
  EXPECT_EQ(none.Lock(), 1U);
}

TEST(WMutex, InitializingInstallsAFreshLock) {
  WMutex mutex(1);
  mutex.Lock();
  mutex.InitializeLockable(1);
  std::thread([&] { EXPECT_EQ(mutex.Lock(), 1U); }).join();
}

TEST(WMutex, TheGuardKeepsThreadsApart) {
  constexpr int turns = 100'000;
  WMutex mutex(1);
  int count = 0;
  const auto work = [&] {
    for (int i = 0; i < turns; ++i) {
      const ScopedLockGuard guard(mutex);
      ++count;
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(count, 2 * turns);
}

}  // namespace
