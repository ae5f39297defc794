#include "foundation/WriteSignalGuard.h"

#include <cerrno>
#include <ctime>

namespace {

constexpr int writeSignals[] = {SIGXFSZ, SIGPIPE};

}  // namespace

WriteSignalGuard::WriteSignalGuard() {
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int signal : writeSignals) sigaddset(&blocked, signal);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &formerMask_);
}

WriteSignalGuard::~WriteSignalGuard() {
  const int error = errno;
  sigset_t ours;
  sigemptyset(&ours);
  for (const int signal : writeSignals) {
    // One that was blocked before may be pending for someone else.
    if (sigismember(&formerMask_, signal) == 0) sigaddset(&ours, signal);
  }
  const timespec now = {};
  while (::sigtimedwait(&ours, nullptr, &now) > 0) {
  }
  ::pthread_sigmask(SIG_SETMASK, &formerMask_, nullptr);
  errno = error;
}
