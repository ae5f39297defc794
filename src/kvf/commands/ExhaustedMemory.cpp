#include "kvf/commands/ExhaustedMemory.h"

#include <new>
#include <string_view>

#include <unistd.h>

#include "kvf/commands/Output.h"
#include "kvf/process/Unfinished.h"

namespace {

pid_t process = 0;

void endOfMemory() {
  // A copy of the process has its own answer.
  if (::getpid() != process) throw std::bad_alloc();
  Unfinished::takeAllBack();
  ::_exit(complainOfMemory());
}

struct EndsWithMemory {
  EndsWithMemory() {
    process = ::getpid();
    std::set_new_handler(endOfMemory);
  }
};
// Before what libraries create before main.
[[gnu::init_priority(101)]] const EndsWithMemory endsWithMemory;

}  // namespace

int complainOfMemory() noexcept {
  constexpr std::string_view text = "kvf: memory is exhausted\n";
  static_cast<void>(::write(STDERR_FILENO, text.data(), text.size()) > 0);
  return noAnswer;
}
