#include "kvf/process/ProgramRun.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kvf/process/ProcessTexts.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds timeToEnd(60);

/// While it lives, Ctrl-C does nothing here. A handler, unlike ignoring, is not inherited.
class InterruptsPassBy {
 public:
  InterruptsPassBy() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGINT, &action, &former_);
  }
  InterruptsPassBy(const InterruptsPassBy&) = delete;
  InterruptsPassBy& operator=(const InterruptsPassBy&) = delete;
  ~InterruptsPassBy() { ::sigaction(SIGINT, &former_, nullptr); }

 private:
  struct sigaction former_ {};
};

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

class FileActions {
 public:
  explicit FileActions(const ProgramRun& run) {
    ::posix_spawn_file_actions_init(&actions_);
    if (!run.directory.empty())
      ::posix_spawn_file_actions_addchdir_np(&actions_, run.directory.c_str());
    for (int stream = STDOUT_FILENO; run.silent && stream <= STDERR_FILENO; ++stream)
      ::posix_spawn_file_actions_addopen(&actions_, stream, "/dev/null", O_WRONLY, 0);
  }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_ = {};
};

/// True when the process has ended, false when the time is over.
bool endsBefore(const Descriptor& process, std::optional<Clock::time_point> time) {
  for (;;) {
    int milliseconds = -1;
    if (time) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*time - Clock::now()).count();
      milliseconds = static_cast<int>(std::clamp<long>(left, 0, 1'000'000));
    }
    pollfd poll = {process.number(), POLLIN, 0};
    const int events = ::poll(&poll, 1, milliseconds);
    if (events > 0) return true;
    if (events < 0 && errno != EINTR) return true;
    if (time && Clock::now() >= *time) return false;
  }
}

int statusOf(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return 255;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

ProgramEnd runProgram(const ProgramRun& run) {
  const InterruptsPassBy interrupts;
  std::vector<std::string> arguments = run.arguments;
  std::vector<std::string> environment = environmentWith(run.environment);
  const FileActions actions(run);
  ProgramEnd end;
  pid_t child = -1;
  end.error = ::posix_spawnp(&child, arguments.at(0).c_str(), actions.get(), nullptr,
                             nullTerminated(arguments).data(), nullTerminated(environment).data());
  if (end.error != 0) return end;

  const Descriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  if (run.limit && !endsBefore(process, Clock::now() + *run.limit)) {
    end.stopped = true;
    ::kill(child, SIGTERM);
    if (!endsBefore(process, Clock::now() + timeToEnd)) {
      end.killed = true;
      ::kill(child, SIGKILL);
    }
  }
  end.status = statusOf(child);
  return end;
}
