#include "platform/ChildProcess.h"

#include <cerrno>
#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

ChildProcess::ChildProcess(const Task& task) {
  struct sigaction defaultAction = {};
  defaultAction.sa_handler = SIG_DFL;
  ::sigaction(SIGCHLD, &defaultAction, &formerAction_);
  // Opened here: a log file that the child opens is not open in this process.
  (void)Logging::GetHandle();
  std::fflush(nullptr);
  // NOLINTBEGIN(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork): the class
  // says what the child may do.
  const pid_t pid = ::vfork();
  if (pid == 0) {
    task(*this);
    ::_exit(Logging::fatalStatus);
  }
  // NOLINTEND(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork)
  pid_ = pid;
  if (pid_ > 0) signals_.begin(pid_);
  if (pid_ < 0) signals_.release();
}

ChildProcess::~ChildProcess() {
  const int error = errno;
  ::sigaction(SIGCHLD, &formerAction_, nullptr);
  errno = error;
}

void ChildProcess::execute(char* const* argv) const {
  ::sigaction(SIGCHLD, &formerAction_, nullptr);
  signals_.releaseChild();
  ::execvp(argv[0], argv);
}

void ChildProcess::fail(Logging::Pieces message) {
  Logging::Info(message);
  ::_exit(Logging::fatalStatus);
}

int ChildProcess::wait() {
  waitForEnd();
  signals_.end();
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0) {
    if (errno != EINTR) return W_EXITCODE(Logging::fatalStatus, 0);
  }
  return status;
}

void ChildProcess::waitForEnd() const {
  // Nobody else takes the orphans that become children of the first process.
  const idtype_t whose = ::getpid() == 1 ? P_ALL : P_PID;
  for (;;) {
    siginfo_t ended = {};
    const bool hasStatus = ::waitid(whose, static_cast<id_t>(pid_), &ended, WEXITED | WNOWAIT) == 0;
    if (!hasStatus && errno == EINTR) continue;
    if (!hasStatus || ended.si_pid == pid_) return;
    ::waitpid(ended.si_pid, nullptr, 0);
  }
}

int ChildProcess::exitCodeIn(int waitStatus) {
  return WEXITSTATUS(waitStatus);
}
