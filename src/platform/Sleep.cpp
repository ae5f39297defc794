#include "platform/Sleep.h"

#include <cerrno>
#include <ctime>

void sleepSeconds(unsigned int seconds) {
  // Every start comes by here, and even a sleep of no length gives the processor away.
  if (seconds == 0) return;
  // Not sleep(): what it leaves to wait for after a signal is rounded to whole seconds.
  timespec left = {static_cast<std::time_t>(seconds), 0};
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) continue;
}
