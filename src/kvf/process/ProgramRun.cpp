#include "kvf/process/ProgramRun.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kvf/process/ExecArguments.h"
#include "kvf/process/Files.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/Processes.h"
#include "kvf/process/TextReplacement.h"
#include "kvf/process/Unfinished.h"
#include "kvf/text/Text.h"

// Between this process and the program there is another one, the guardian. What the program starts
// becomes a child of the guardian when its own parent ends, and the guardian learns of the end of
// this process, even by SIGKILL. So it can end everything.

namespace {

using Clock = std::chrono::steady_clock;
using Time = std::optional<Clock::time_point>;

constexpr std::chrono::seconds timeToEnd(60);
constexpr std::chrono::seconds timeToEndWithThis(5);
constexpr std::chrono::milliseconds timeBetweenKills(20);
constexpr std::chrono::seconds timeBetweenLooks(1);
constexpr std::size_t maxOutput = 1 << 20;

/// What the guardian reports.
struct Report {
  int error, status;
  bool stopped, killed;
  pid_t process;
  Clock::time_point started;
  std::chrono::nanoseconds time, processorTime;
};

/// Tells the guardian that the program has done its work.
constexpr int enough = SIGUSR1;

struct Pipe {
  Descriptor reading, writing;
};

Pipe openPipe() {
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC) != 0)
    throw std::system_error(errno, std::generic_category(), "pipe");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Where the program's standard output and error go: a pipe of this process's for each of them, one
/// for both, or none.
struct Outputs {
  explicit Outputs(const ProgramRun& run)
      : isApart(run.output == ProgramRun::Output::passedOn),
        isRead(isApart || run.output == ProgramRun::Output::taken || !run.until.empty()) {
    if (isRead) first = openPipe();
    if (isApart) errors = openPipe();
  }

  bool isApart, isRead;
  Pipe first, errors;
};

sigset_t guardedSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGCHLD, SIGHUP, SIGINT, SIGQUIT, SIGTERM, enough})
    ::sigaddset(&signals, signal);
  return signals;
}

/// While it lives, the guarded signals are blocked.
class SignalsWait {
 public:
  SignalsWait() {
    const sigset_t signals = guardedSignals();
    ::sigprocmask(SIG_BLOCK, &signals, &former_);
  }
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;
  ~SignalsWait() { ::sigprocmask(SIG_SETMASK, &former_, nullptr); }
  [[nodiscard]] const sigset_t& former() const { return former_; }

 private:
  sigset_t former_;
};

std::vector<std::string> environmentOf(const ProgramRun& run) {
  if (!run.hasOwnEnvironment) return environmentWith(run.environment);
  std::vector<std::string> environment;
  for (const auto& [name, value] : run.environment)
    environment.push_back(concat({name, "=", value}));
  return environment;
}

/// How the program is to be started, complete before the fork.
class Spawning {
 public:
  Spawning(const ProgramRun& run, const sigset_t& mask, const Outputs& outputs)
      : program_(run.program.empty() ? run.arguments.at(0) : run.program),
        argumentTexts_(run.arguments),
        environmentTexts_(environmentOf(run)),
        arguments_(nullTerminated(argumentTexts_)),
        environment_(nullTerminated(environmentTexts_)) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawnattr_setsigmask(&attributes_, &mask);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK);
    if (!run.directory.empty())
      ::posix_spawn_file_actions_addchdir_np(&actions_, run.directory.c_str());
    const bool isShown = run.output == ProgramRun::Output::shown;
    if (isShown && run.until.empty()) return;
    if (!isShown && !outputs.isApart)
      ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
      const bool isSecond = outputs.isApart && stream == STDERR_FILENO;
      const Descriptor& output = isSecond ? outputs.errors.writing : outputs.first.writing;
      if (outputs.isRead) {
        ::posix_spawn_file_actions_adddup2(&actions_, output.number(), stream);
      } else {
        ::posix_spawn_file_actions_addopen(&actions_, stream, "/dev/null", O_WRONLY, 0);
      }
    }
  }
  Spawning(const Spawning&) = delete;
  Spawning& operator=(const Spawning&) = delete;
  ~Spawning() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }

  /// An error number, or 0 and the child.
  int start(pid_t& child) const {
    return ::posix_spawnp(&child, program_.c_str(), &actions_, &attributes_, arguments_.data(),
                          environment_.data());
  }

 private:
  std::string program_;
  std::vector<std::string> argumentTexts_, environmentTexts_;
  std::vector<char*> arguments_, environment_;
  posix_spawn_file_actions_t actions_ = {};
  posix_spawnattr_t attributes_ = {};
};

class Guardian {
 public:
  Guardian(const Spawning& spawning, pid_t parent, std::optional<std::chrono::seconds> limit)
      : spawning_(spawning), parent_(parent), limit_(limit) {}

  Report run() {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    Report report = {};
    if (::getppid() != parent_) return report;
    try {
      watchOver(report);
    } catch (...) {
      report.error = ENOMEM;
      killChildren();
    }
    return report;
  }

 private:
  enum class Awaited { programEnd, time, signal };

  void watchOver(Report& report) {
    const auto start = report.started = Clock::now();
    report.error = spawning_.start(program_);
    report.process = program_;
    if (report.error != 0) return;
    const Time end = limit_ ? Time(Clock::now() + *limit_) : std::nullopt;
    const Awaited first = await(end);
    report.stopped = first == Awaited::time;
    if (first != Awaited::programEnd) {
      signalFamily(SIGTERM);
      const auto grace = first == Awaited::time ? timeToEnd : timeToEndWithThis;
      report.killed = await(Clock::now() + grace) != Awaited::programEnd;
    }
    report.time = Clock::now() - start;
    report.processorTime = processorTime_;
    endFamily(report.killed);
    report.status = WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
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
      if (signal == enough) return Awaited::time;
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

  /// Ends what the program has left running, or would not end.
  void endFamily(bool atOnce) {
    const auto hurry = Clock::now() + timeToEndWithThis;
    if (!atOnce && hasChildren()) signalFamily(SIGTERM);
    const sigset_t signals = guardedSignals();
    while (hasChildren()) {
      if (atOnce || Clock::now() >= hurry) signalFamily(SIGKILL);
      const timespec time = {0, std::chrono::nanoseconds(timeBetweenKills).count()};
      ::sigtimedwait(&signals, nullptr, &time);
      hasEnded();
    }
  }

  /// Ends all of them without memory: what one that ends has started becomes a child, too.
  void killChildren() {
    const sigset_t signals = guardedSignals();
    for (; hasChildren(); hasEnded()) {
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
    }
  }

  const Spawning& spawning_;
  pid_t parent_;
  std::optional<std::chrono::seconds> limit_;
  pid_t program_ = -1;
  int status_ = 0;
  std::chrono::nanoseconds processorTime_ = {};
  bool programEnded_ = false;
};

/// Ends with this object, and what it watches over with it.
class GuardianProcess final : private Unfinished {
 public:
  explicit GuardianProcess(pid_t id) : id_(id) {}
  ~GuardianProcess() { takeBack(); }

  void wait() noexcept {
    while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) continue;
    id_ = -1;
  }

 private:
  void takeBack() noexcept override {
    if (id_ < 0) return;
    ::kill(id_, SIGTERM);
    wait();
  }

  pid_t id_;
};

/// A program that reads from the terminal, or is to be stopped by its keys, has to be in its
/// foreground; any other gets a process group of its own.
bool isInForeground() {
  const Descriptor terminal(::open("/dev/tty", O_RDONLY | O_CLOEXEC | O_NOCTTY));
  return terminal.number() >= 0 && ::tcgetpgrp(terminal.number()) == ::getpgrp();
}

/// Writes all of it unless nobody reads there any more, or a signal asks for the end.
bool writeAll(int stream, std::string_view text, const sigset_t& mask) {
  while (!text.empty()) {
    pollfd poll = {stream, POLLOUT, 0};
    // Signals come in here, as the write may have to wait for a reader.
    const int ready = ::ppoll(&poll, 1, nullptr, &mask);
    if (InterruptionWatch::pending() != 0) return false;
    if (ready < 0 && errno == EINTR) continue;
    const ssize_t count =
        ::write(stream, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (count < 0 && errno != EINTR && errno != EAGAIN) return false;
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// What comes out of one pipe, and what is to be done about it.
class Printed {
 public:
  /// `stream` is where it is passed on to.
  Printed(const ProgramRun& run, pid_t guardian, Descriptor pipe, int stream, const sigset_t& mask)
      : run_(run),
        guardian_(guardian),
        pipe_(std::move(pipe)),
        stream_(stream),
        mask_(mask),
        replacement_(stream == STDERR_FILENO ? run.replacement.text : "", run.replacement.by) {}

  /// Negative once there is nothing more to come.
  [[nodiscard]] int number() const { return pipe_.number(); }

  /// REQUIRES: the pipe can be read.
  void read(ProgramEnd& end) {
    char buffer[4096];
    const ssize_t count = ::read(pipe_.number(), buffer, sizeof buffer);
    if (count > 0) {
      take(replacement_.take({buffer, static_cast<std::size_t>(count)}), end);
    } else {
      finish(end);
      pipe_ = Descriptor();
    }
  }

  /// Takes what was held back.
  void finish(ProgramEnd& end) { take(replacement_.rest(), end); }

 private:
  void take(std::string_view piece, ProgramEnd& end) {
    if (piece.empty()) return;
    if (!end.firstOutput) end.firstOutput = {Clock::now(), stream_};
    if (run_.output == ProgramRun::Output::taken)
      end.output.append(piece.substr(0, maxOutput - end.output.size()));
    // A failure to show the text does not affect the program.
    if (run_.output == ProgramRun::Output::shown)
      static_cast<void>(::write(STDERR_FILENO, piece.data(), piece.size()) < 0);
    // The program is to see that nobody reads, as without a process between.
    if (run_.output == ProgramRun::Output::passedOn && !writeAll(stream_, piece, mask_))
      pipe_ = Descriptor();
    if (run_.until.empty() || end.reached) return;
    tail_.append(piece);
    if (tail_.find(run_.until) != std::string::npos) {
      end.reached = true;
      end.time = Clock::now() - start_;
      ::kill(guardian_, enough);
    }
    if (tail_.size() > run_.until.size()) tail_.erase(0, tail_.size() - run_.until.size());
  }

  const ProgramRun& run_;
  pid_t guardian_;
  Descriptor pipe_;
  int stream_;
  const sigset_t& mask_;
  TextReplacement replacement_;
  std::string tail_;
  Clock::time_point start_ = Clock::now();
};

/// Takes what the program prints until the guardian reports; passes a signal on to it.
bool readReport(pid_t guardian, const Descriptor& reports, Report& report, Printed& output,
                Printed& errors, ProgramEnd& end, const sigset_t& mask) {
  bool passedOn = false;
  for (;;) {
    if (InterruptionWatch::pending() != 0 && !passedOn) {
      ::kill(guardian, SIGTERM);
      passedOn = true;
    }
    pollfd polls[] = {
        {reports.number(), POLLIN, 0}, {output.number(), POLLIN, 0}, {errors.number(), POLLIN, 0}};
    // Signals come in here only.
    if (::ppoll(polls, std::size(polls), nullptr, passedOn ? nullptr : &mask) < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (polls[1].revents != 0) output.read(end);
    if (polls[2].revents != 0) errors.read(end);
    if (polls[0].revents != 0 && polls[1].revents == 0 && polls[2].revents == 0)
      return ::read(reports.number(), &report, sizeof report) == sizeof report;
  }
}

}  // namespace

ProgramEnd runProgram(const ProgramRun& run) {
  const TerminalKeysPassBy keys;
  const SignalsWait signals;
  Pipe reports = openPipe();
  Outputs outputs(run);
  const Spawning spawning(run, signals.former(), outputs);
  const pid_t self = ::getpid();
  const pid_t forked = ::fork();
  ProgramEnd end;
  if (forked < 0) {
    end.error = errno;
    return end;
  }
  if (forked == 0) {
    if (!isInForeground()) ::setpgid(0, 0);
    const Report report = Guardian(spawning, self, run.limit).run();
    ::_exit(::write(reports.writing.number(), &report, sizeof report) == sizeof report ? 0 : 1);
  }
  GuardianProcess guardian(forked);
  for (Descriptor* written : {&reports.writing, &outputs.first.writing, &outputs.errors.writing})
    *written = Descriptor();
  Report report = {};
  Printed output(run, forked, std::move(outputs.first.reading), STDOUT_FILENO, signals.former());
  Printed errors(run, forked, std::move(outputs.errors.reading), STDERR_FILENO, signals.former());
  const bool reported =
      readReport(forked, reports.reading, report, output, errors, end, signals.former());
  output.finish(end);
  errors.finish(end);
  guardian.wait();
  InterruptionWatch::look();
  end.error = report.error;
  end.status = reported ? report.status : 255;
  end.stopped = report.stopped;
  end.killed = report.killed;
  end.process = report.process;
  end.started = report.started;
  if (!end.reached) end.time = report.time;
  end.processorTime = report.processorTime;
  return end;
}
