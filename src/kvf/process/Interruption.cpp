#include "kvf/process/Interruption.h"

#include <csignal>
#include <cstddef>
#include <iterator>

#include <unistd.h>

namespace {

constexpr int endingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
constexpr int writeSignals[] = {SIGPIPE, SIGXFSZ};
constexpr std::size_t endings = std::size(endingSignals);

volatile std::sig_atomic_t latest = 0;
volatile std::sig_atomic_t keysPassBy = 0;
struct sigaction former[endings + std::size(writeSignals)] = {};

void note(int signal, siginfo_t* info, void* /*context*/) {
  const bool isOfTerminal = info->si_code == SI_KERNEL && (signal == SIGINT || signal == SIGQUIT);
  if (keysPassBy == 0 || !isOfTerminal) latest = signal;
}

/// Handlers, unlike what is ignored, are not inherited by programs.
void passBy(int /*signal*/) {}

void watch(int signal, const struct sigaction& action, struct sigaction& before) {
  ::sigaction(signal, nullptr, &before);
  if (before.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr);
}

}  // namespace

InterruptionWatch::InterruptionWatch() {
  latest = 0;
  struct sigaction noting {};
  noting.sa_sigaction = note;
  noting.sa_flags = SA_SIGINFO | SA_RESTART;
  struct sigaction passing {};
  passing.sa_handler = passBy;
  std::size_t index = 0;
  for (const int signal : endingSignals) watch(signal, noting, former[index++]);
  for (const int signal : writeSignals) watch(signal, passing, former[index++]);
}

InterruptionWatch::~InterruptionWatch() {
  std::size_t index = 0;
  for (const int signal : endingSignals) ::sigaction(signal, &former[index++], nullptr);
  for (const int signal : writeSignals) ::sigaction(signal, &former[index++], nullptr);
}

void InterruptionWatch::look() {
  if (latest != 0) throw Interruption{latest};
}

int InterruptionWatch::pending() {
  return latest;
}

TerminalKeysPassBy::TerminalKeysPassBy() {
  keysPassBy = 1;
}

TerminalKeysPassBy::~TerminalKeysPassBy() {
  keysPassBy = 0;
}

void endBy(Interruption interruption) {
  ::signal(interruption.signal, SIG_DFL);
  ::raise(interruption.signal);
  ::_exit(128 + interruption.signal);
}
