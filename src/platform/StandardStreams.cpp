#include "platform/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

void openClosedStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) < 0) {
      // The lowest free descriptor is this one. Programs started later inherit it, as they would
      // any standard stream.
      (void)::open("/dev/null", O_RDWR);  // NOLINT(android-cloexec-open)
    }
  }
}
