#include "kvf/process/Guardian.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kvf/process/Descriptor.h"
#include "kvf/process/Processes.h"

namespace {

using Clock = std::chrono::steady_clock;
using Time = std::optional<Clock::time_point>;

constexpr std::chrono::seconds timeToEnd(60);
constexpr std::chrono::seconds timeToEndWithThis(5);
constexpr std::chrono::seconds timeToDie(10);  ///< by SIGKILL
constexpr std::chrono::milliseconds timeBetweenKills(20);
constexpr std::chrono::seconds timeBetweenLooks(1);

class Guardian {
 public:
  Guardian(const std::function<int(pid_t&)>& start, pid_t parent,
           std::optional<std::chrono::seconds> limit)
      : start_(start), parent_(parent), limit_(limit) {}

  ProcessEnd run() {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    // Where it is ignored, the system would take the ends of children itself.
    ::signal(SIGCHLD, SIG_DFL);
    ::prctl(PR_SET_PDEATHSIG, workIsCancelled);
    ProcessEnd end;
    if (::getppid() != parent_) return end;
    try {
      watchOver(end);
    } catch (...) {
      end.error = ENOMEM;
      killChildren();
    }
    return end;
  }

 private:
  enum class Awaited { programEnd, time, signal };

  void watchOver(ProcessEnd& end) {
    const auto start = end.started = Clock::now();
    end.error = start_(program_);
    end.process = program_;
    if (end.error != 0) return;
    const Time limit = limit_ ? Time(Clock::now() + *limit_) : std::nullopt;
    const Awaited first = await(limit);
    end.stopped = first == Awaited::time;
    if (first != Awaited::programEnd) {
      signalFamily(SIGTERM);
      const auto grace = first == Awaited::time ? timeToEnd : timeToEndWithThis;
      end.killed = await(Clock::now() + grace) != Awaited::programEnd;
    }
    end.time = Clock::now() - start;
    end.processorTime = processorTime_;
    end.survived = !endFamily(end.killed);
    if (!programEnded_) status_ = SIGKILL;
    end.status = WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
  }

  /// Waits for the first of the three.
  Awaited await(const Time& end) {
    const sigset_t signals = guardedSignals();
    for (;;) {
      if (hasEnded()) return Awaited::programEnd;
      // A look that failed is followed by another one.
      std::chrono::nanoseconds left = timeBetweenLooks;
      if (end)
        left = std::clamp(std::chrono::nanoseconds(*end - Clock::now()),
                          std::chrono::nanoseconds::zero(), left);
      const timespec time = {left.count() / 1'000'000'000, left.count() % 1'000'000'000};
      siginfo_t info = {};
      const int signal = ::sigtimedwait(&signals, &info, &time);
      if (signal < 0 && end && Clock::now() >= *end) {
        return hasEnded() ? Awaited::programEnd : Awaited::time;
      }
      // Keys of the terminal reach the program too.
      const bool isKey = info.si_code == SI_KERNEL && (signal == SIGINT || signal == SIGQUIT);
      if (signal == workIsDone) return Awaited::time;
      if (signal > 0 && signal != SIGCHLD && !isKey) return Awaited::signal;
    }
  }

  /// Takes the ends of all children that have ended.
  bool hasEnded() {
    int status = 0;
    rusage used = {};
    for (pid_t id = 0; (id = ::wait4(-1, &status, WNOHANG, &used)) > 0;) {
      if (id != program_) continue;
      status_ = status;
      processorTime_ = duration(used.ru_utime) + duration(used.ru_stime);
      programEnded_ = true;
    }
    return programEnded_;
  }

  static std::chrono::nanoseconds duration(const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
  }

  [[nodiscard]] static bool hasChildren() {
    siginfo_t info = {};
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
  }

  /// Sends the signal to every process that comes from this one.
  void signalFamily(int signal) const {
    std::vector<int> family = familyOf(::getpid(), processes());
    // Without /proc only this one is known.
    if (family.size() == 1 && !programEnded_) family.push_back(program_);
    std::for_each(family.begin() + 1, family.end(), [&](pid_t id) { ::kill(id, signal); });
  }

  /// Ends what the program has left running, or would not end; false if some of it does not end.
  bool endFamily(bool atOnce) {
    const auto hurry = Clock::now() + (atOnce ? std::chrono::seconds::zero() : timeToEndWithThis);
    if (!atOnce && hasChildren()) signalFamily(SIGTERM);
    const sigset_t signals = guardedSignals();
    while (hasChildren()) {
      // Of another user, or in the hands of the kernel or a debugger.
      if (Clock::now() >= hurry + timeToDie) return false;
      if (Clock::now() >= hurry) signalFamily(SIGKILL);
      const timespec time = {0, std::chrono::nanoseconds(timeBetweenKills).count()};
      ::sigtimedwait(&signals, nullptr, &time);
      hasEnded();
    }
    return true;
  }

  /// Ends all of them without memory: what one that ends has started becomes a child, too.
  void killChildren() {
    const sigset_t signals = guardedSignals();
    for (const auto last = Clock::now() + timeToDie; hasChildren() && Clock::now() < last;) {
      char text[4096] = {};
      const Descriptor file(::open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC));
      // Not every kernel lists them.
      if (::read(file.number(), text, sizeof text - 1) <= 0) {
        if (program_ > 0 && !programEnded_) ::kill(program_, SIGKILL);
        return;
      }
      // The last number may be cut off.
      char* end = text;
      for (long id = 0; (id = std::strtol(end, &end, 10)) > 0 && *end == ' ';)
        ::kill(static_cast<pid_t>(id), SIGKILL);
      const timespec time = {0, std::chrono::nanoseconds(timeBetweenKills).count()};
      ::sigtimedwait(&signals, nullptr, &time);
      hasEnded();
    }
  }

  const std::function<int(pid_t&)>& start_;
  pid_t parent_;
  std::optional<std::chrono::seconds> limit_;
  pid_t program_ = -1;
  int status_ = 0;
  std::chrono::nanoseconds processorTime_ = {};
  bool programEnded_ = false;
};

}  // namespace

sigset_t guardedSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGCHLD, workIsDone, workIsCancelled}) ::sigaddset(&signals, signal);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    struct sigaction action = {};
    // One that is blocked comes even if it is ignored.
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
      ::sigaddset(&signals, signal);
  }
  return signals;
}

ProcessEnd guard(const std::function<int(pid_t& program)>& start, pid_t parent,
                 std::optional<std::chrono::seconds> limit) {
  return Guardian(start, parent, limit).run();
}
