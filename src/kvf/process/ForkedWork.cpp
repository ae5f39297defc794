#include "kvf/process/ForkedWork.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <new>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kvf/text/Text.h"

namespace {

enum CopyStatus : int { done = 0, failed = 1 };

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// What the copy does from beginning to end.
[[noreturn]] void workAndEnd(const std::function<std::string()>& work, int results, pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(failed);
  const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  ::dup2(null, STDIN_FILENO);
  ::dup2(null, STDOUT_FILENO);
  const auto fail = [&](std::string_view why) {
    writeAll(results, why);
    ::_exit(failed);
  };
  try {
    ::_exit(writeAll(results, work()) ? done : failed);
  } catch (const std::bad_alloc&) {
    fail("memory is exhausted");
  } catch (const std::exception& exception) {
    fail(exception.what());
  } catch (...) {
    fail("the work ended early");
  }
  ::_exit(failed);
}

}  // namespace

ForkedWork::ForkedWork(const std::function<std::string()>& work) {
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC) != 0)
    throw std::system_error(errno, std::generic_category(), "pipe");
  results_ = Descriptor(ends[0]);
  const Descriptor writing(ends[1]);
  ::fcntl(results_.number(), F_SETFL, O_NONBLOCK);
  const pid_t parent = ::getpid();
  copy_ = ::fork();
  if (copy_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (copy_ == 0) workAndEnd(work, writing.number(), parent);
}

ForkedWork::~ForkedWork() {
  if (copy_ < 0) return;
  ::kill(copy_, SIGKILL);
  while (::waitpid(copy_, nullptr, 0) < 0 && errno == EINTR) continue;
}

bool ForkedWork::take() {
  if (copy_ < 0) return true;
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t count = ::read(results_.number(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) return false;
    if (count <= 0) break;
    result_.append(buffer.data(), static_cast<std::size_t>(count));
  }
  reap();
  return true;
}

void ForkedWork::reap() {
  int status = 0;
  while (::waitpid(copy_, &status, 0) < 0 && errno == EINTR) continue;
  copy_ = -1;
  if (WIFEXITED(status) && WEXITSTATUS(status) == done) return;
  if (WIFSIGNALED(status)) {
    failure_ = concat({"it was ended by a signal: ", ::strsignal(WTERMSIG(status))});
  } else {
    failure_ = result_.empty() ? "it ended early" : result_;
  }
  result_.clear();
}
