#include "launcher/ExceptionEnd.h"

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <exception>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "support/Child.h"

namespace {

[[gnu::noinline]] void touchStack() {
  volatile char room[65536] = {};
  for (std::size_t at = 0; at < sizeof room; at += 512) room[at] = 1;
}

/// Not even the smallest block is left afterwards; the stack keeps what it has.
void useUpMemory() {
  touchStack();
  const rlimit none = {0, 0};
  ::setrlimit(RLIMIT_AS, &none);
  // Volatile, so that the compiler leaves no allocation out.
  void* volatile block = nullptr;
  do {
    block = std::malloc(1);
  } while (block != nullptr);
}

void throwNumber() {
  throw 1;
}

constexpr int aborted = 128 + SIGABRT;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool needsMemoryItself = true;
#else
constexpr bool needsMemoryItself = false;
#endif

TEST(MemoryTerminateHandler, IsThatOfExhaustedMemoryOnlyWhenNothingElseIsThrown) {
  const struct {
    bool isExhausted, throws;
    Outcome outcome;
  } rows[] = {
      {false, false, {aborted, "terminate called without an active exception\n"}},
      {true, false, {255, "SDKC-OUT_OF_MEMORY : ERROR : Memory allocation failed\n"}},
      {false, true, {aborted, "terminate called after throwing an instance of 'int'\n"}},
      // Without memory there is no readable name of the type.
      {true, true, {aborted, "terminate called after throwing an instance of 'i'\n"}},
  };
  for (const auto& row : rows) {
    if (row.isExhausted && needsMemoryItself) continue;
    SCOPED_TRACE(row.outcome.out);
    EXPECT_EQ(inChild([&]() noexcept {
                static const MemoryTerminateHandler end;
                const rlimit noCore = {0, 0};
                ::setrlimit(RLIMIT_CORE, &noCore);
                if (row.isExhausted) useUpMemory();
                if (row.throws) throwNumber();
                std::terminate();
              }),
              row.outcome);
  }
}

TEST(MemoryTerminateHandler, LeavesTheFormerHandlerInItsPlace) {
  const std::terminate_handler former = std::get_terminate();
  { const MemoryTerminateHandler end; }
  EXPECT_EQ(std::get_terminate(), former);
}

}  // namespace
