#include "support/Child.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int timeLimitMilliseconds = 60'000;

int checked(int result, const char* call) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), call);
  return result;
}

/// An exception ends the child: it must not come out in a second copy of the test.
[[noreturn]] void runInChild(const std::function<void()>& action, int output) noexcept {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  action();
  std::exit(0);
}

}  // namespace

Outcome Outcome::withoutLine(const std::string& line) const {
  const std::size_t at = out.find(line);
  if (at == std::string::npos || at != out.rfind(line)) return *this;
  return {status, std::string(out).erase(at, line.size())};
}

testing::AssertionResult Outcome::has(const std::string& text) const {
  const bool isThere = out.find(text) != std::string::npos;
  return testing::AssertionResult(isThere)
         << testing::PrintToString(*this) << (isThere ? "has: " : "lacks: ") << text;
}

void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << testing::PrintToString("status " + std::to_string(outcome.status) + "\n" + outcome.out);
}

Child::Child(const std::function<void()>& action) {
  std::array<int, 2> ends = {};
  checked(::pipe2(ends.data(), O_CLOEXEC), "pipe2");
  std::fflush(nullptr);
  id_ = checked(::fork(), "fork");
  if (id_ == 0) runInChild(action, ends[1]);
  ::setpgid(id_, id_);
  ::close(ends[1]);
  pipe_ = ends[0];
  handle_ = checked(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0)), "pidfd_open");
}

Child::~Child() {
  if (id_ > 0) ::kill(-id_, SIGKILL);
  if (id_ > 0) ::waitpid(id_, nullptr, 0);
  ::close(handle_);
  ::close(pipe_);
}

bool Child::prints(const std::string& text) {
  while (out_.find(text) == std::string::npos) {
    if (!read()) return false;
  }
  return true;
}

Outcome Child::wait() {
  while (read()) continue;
  int status = 0;
  checked(::waitpid(id_, &status, 0), "waitpid");
  id_ = -1;
  return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status), out_};
}

bool Child::read() {
  std::array<pollfd, 2> events = {{{pipe_, POLLIN, 0}, {handle_, POLLIN, 0}}};
  const int ready = ::poll(events.data(), events.size(), timeLimitMilliseconds);
  const bool ended = ready == 0 || events[1].revents != 0;
  // Whoever still holds the pipe would keep the loop from ending.
  if (ended) ::kill(-id_, SIGKILL);
  do {
    std::array<char, 65536> bytes = {};
    const ssize_t count = ::read(pipe_, bytes.data(), bytes.size());
    if (count <= 0) {
      ::close(std::exchange(pipe_, -1));
      break;
    }
    out_.append(bytes.data(), static_cast<std::size_t>(count));
  } while (ended);
  return !ended;
}

Outcome inChild(const std::function<void()>& action) {
  return Child(action).wait();
}
