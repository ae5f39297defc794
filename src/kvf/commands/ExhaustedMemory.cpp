#include "kvf/commands/ExhaustedMemory.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include <unistd.h>

#include "kvf/commands/Output.h"
#include "kvf/process/TemporaryFolder.h"

namespace {

/// What destructors take while an exception is on its way: those of JSON values make a list of
/// their members, and an exception of their own would end the process with temporary files left.
/// Nothing in it is given back.
class Reserve {
 public:
  /// Null when it is used up.
  void* take(std::size_t bytes) {
    if (bytes > sizeof bytes_) return nullptr;
    const std::size_t aligned = (bytes + alignment - 1) / alignment * alignment;
    const std::size_t at = used_.fetch_add(aligned);
    return at <= sizeof bytes_ - aligned ? bytes_ + at : nullptr;
  }
  [[nodiscard]] bool holds(const void* memory) const {
    return memory >= bytes_ && memory < bytes_ + sizeof bytes_;
  }

 private:
  static constexpr std::size_t alignment = alignof(std::max_align_t);
  alignas(alignment) char bytes_[std::size_t{64} << 10U] = {};
  std::atomic<std::size_t> used_ = 0;
};

constinit Reserve reserve;

bool memoryHasFailed = false;

void noteNoMemory() {
  memoryHasFailed = true;
  throw std::bad_alloc();
}

/// For when memory ends where no exception may leave, as in the library's own walk through a
/// folder.
void endWithoutException() {
  if (memoryHasFailed) {
    TemporaryFolder::removeAll();
    ::_exit(complainOfMemory());
  }
  std::abort();
}

/// Before what libraries create before main.
struct EndsWithoutException {
  EndsWithoutException() {
    std::set_new_handler(noteNoMemory);
    std::set_terminate(endWithoutException);
  }
};
[[gnu::init_priority(101)]] const EndsWithoutException endsWithoutException;

}  // namespace

int complainOfMemory() noexcept {
  constexpr std::string_view text = "kvf: memory is exhausted\n";
  static_cast<void>(::write(STDERR_FILENO, text.data(), text.size()) > 0);
  return noAnswer;
}

void* operator new(std::size_t bytes) {
  bytes = std::max<std::size_t>(bytes, 1);
  for (;;) {
    if (void* memory = std::malloc(bytes)) return memory;
    if (std::uncaught_exceptions() > 0) {
      if (void* memory = reserve.take(bytes)) return memory;
    }
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(std::max<std::size_t>(bytes, 1));
}

void operator delete(void* memory) noexcept {
  if (!reserve.holds(memory)) std::free(memory);
}

void operator delete(void* memory, std::size_t /*bytes*/) noexcept {
  operator delete(memory);
}
