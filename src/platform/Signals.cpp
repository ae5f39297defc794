#include "platform/Signals.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

void raiseAgain(int signal) {
  std::fflush(nullptr);
  struct sigaction action = {};
  ::sigaction(signal, nullptr, &action);
  std::raise(signal);
  if (action.sa_handler == SIG_DFL) std::_Exit(128 + signal);
}
