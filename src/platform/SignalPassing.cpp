#include "platform/SignalPassing.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <sys/wait.h>

namespace {

// Shared with the signal handler.
std::atomic<pid_t> receiver = 0;
std::atomic<unsigned int> received = 0;  // a bit a signal
static_assert(decltype(receiver)::is_always_lock_free);
static_assert(decltype(received)::is_always_lock_free);

unsigned int bitOf(int signal) {
  return 1U << static_cast<unsigned int>(signal);
}

void passOn(int signal, siginfo_t* info, void* /*context*/) {
  const int error = errno;
  received |= bitOf(signal);
  const pid_t child = receiver;
  // Of the kernel's own making: the terminal gave it to the whole group.
  const bool isSent = info->si_code <= 0;
  if (isSent && child > 0 && info->si_pid != child) ::kill(child, signal);
  errno = error;
}

bool asksToEnd(int signal) {
  return signal == SIGTERM || signal == SIGINT || signal == SIGHUP;
}

/// Sends this process a signal that it withheld, for the action that it has now. Where that is the
/// default action of a process with the ID 1, which the system does not carry out, the process ends
/// with status 128 + signal. Returns when a handler does. Output is flushed before.
void raiseAgain(int signal) {
  std::fflush(nullptr);
  struct sigaction action = {};
  ::sigaction(signal, nullptr, &action);
  std::raise(signal);
  if (action.sa_handler == SIG_DFL) std::_Exit(128 + signal);
}

}  // namespace

SignalPassing::SignalPassing() {
  received = 0;
  sigset_t held;
  sigemptyset(&held);
  for (const int signal : signals) sigaddset(&held, signal);
  ::pthread_sigmask(SIG_BLOCK, &held, &formerMask_);
  for (std::size_t i = 0; i < signals.size(); ++i)
    ::sigaction(signals[i], nullptr, &formerActions_[i]);
}

void SignalPassing::begin(pid_t child) {
  receiver = child;
  passing_ = true;
  struct sigaction action = {};
  action.sa_sigaction = passOn;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  for (const int signal : signals) sigaddset(&action.sa_mask, signal);
  for (std::size_t i = 0; i < signals.size(); ++i) {
    if (formerActions_[i].sa_handler != SIG_IGN) ::sigaction(signals[i], &action, nullptr);
  }
  release();
}

void SignalPassing::end() {
  if (!passing_) return;
  receiver = 0;
  for (std::size_t i = 0; i < signals.size(); ++i) {
    ::sigaction(signals[i], &formerActions_[i], nullptr);
  }
  passing_ = false;
}

void SignalPassing::release() const {
  ::pthread_sigmask(SIG_SETMASK, &formerMask_, nullptr);
}

void SignalPassing::releaseChild() const {
  struct sigaction defaultAction = {};
  defaultAction.sa_handler = SIG_DFL;
  for (std::size_t i = 0; i < signals.size(); ++i) {
    const auto former = formerActions_[i].sa_handler;
    if (former != SIG_IGN && former != SIG_DFL) ::sigaction(signals[i], &defaultAction, nullptr);
  }
  release();
}

void SignalPassing::takeReceived(int waitStatus) {
  for (const int signal : signals) {
    if ((received & bitOf(signal)) == 0) continue;
    const bool endedChild = WIFSIGNALED(waitStatus) && WTERMSIG(waitStatus) == signal;
    if (asksToEnd(signal) || endedChild) raiseAgain(signal);
  }
}
