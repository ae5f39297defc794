#include "kvf/process/ProgramRun.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <iterator>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kvf/process/Descriptor.h"
#include "kvf/process/ExecArguments.h"
#include "kvf/process/Guardian.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/TextReplacement.h"
#include "kvf/process/Unfinished.h"
#include "kvf/text/Text.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t maxOutput = 1 << 20;

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

/// Ends with this object, and what it watches over with it.
class GuardianProcess final : private Unfinished {
 public:
  explicit GuardianProcess(pid_t id) : id_(id) {}
  GuardianProcess(const GuardianProcess&) = delete;
  GuardianProcess& operator=(const GuardianProcess&) = delete;
  ~GuardianProcess() override { takeBack(); }

  void wait() noexcept {
    while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) continue;
    id_ = -1;
  }

  static void tellOfSurvivors(const std::string& program) {
    say({program,
         " or what it has started does not end, even when it is killed: it is left as it is"});
  }

 private:
  void takeBack() noexcept override {
    if (id_ < 0) return;
    ::kill(id_, workIsCancelled);
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
      ::kill(guardian_, workIsDone);
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
bool readReport(pid_t guardian, const Descriptor& reports, ProcessEnd& report, Printed& output,
                Printed& errors, ProgramEnd& end, const sigset_t& mask) {
  bool passedOn = false;
  for (;;) {
    if (InterruptionWatch::pending() != 0 && !passedOn) {
      ::kill(guardian, workIsCancelled);
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
    // So that what is printed has no reader once this process reads no more.
    for (Descriptor* read : {&reports.reading, &outputs.first.reading, &outputs.errors.reading})
      *read = Descriptor();
    const ProcessEnd report =
        guard([&](pid_t& child) { return spawning.start(child); }, self, run.limit);
    ::_exit(::write(reports.writing.number(), &report, sizeof report) == sizeof report ? 0 : 1);
  }
  GuardianProcess guardian(forked);
  for (Descriptor* written : {&reports.writing, &outputs.first.writing, &outputs.errors.writing})
    *written = Descriptor();
  ProcessEnd report;
  Printed output(run, forked, std::move(outputs.first.reading), STDOUT_FILENO, signals.former());
  Printed errors(run, forked, std::move(outputs.errors.reading), STDERR_FILENO, signals.former());
  const bool reported =
      readReport(forked, reports.reading, report, output, errors, end, signals.former());
  output.finish(end);
  errors.finish(end);
  guardian.wait();
  InterruptionWatch::look();
  if (!reported) report.status = 255;
  if (report.survived) GuardianProcess::tellOfSurvivors(run.arguments.at(0));
  if (end.reached) report.time = end.time;
  static_cast<ProcessEnd&>(end) = report;
  return end;
}
