#include "platform/ThisProcess.h"

#include <cerrno>
#include <cstdint>
#include <ctime>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/auxv.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// True for a right that is not inherited as an ambient one: it comes from the program file.
bool hasCapabilityOfFile() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  if (::syscall(SYS_capget, &header, sets) != 0) return true;
  constexpr unsigned long bits = 32;
  for (unsigned long capability = 0; capability < bits * _LINUX_CAPABILITY_U32S_3; ++capability) {
    const std::uint32_t bit = 1U << (capability % bits);
    if ((sets[capability / bits].permitted & bit) == 0) continue;
    if (::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_IS_SET, capability, 0, 0) != 1) return true;
  }
  return false;
}

}  // namespace

void openClosedStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) < 0) {
      // The lowest free descriptor is this one. Programs started later inherit it, as they would
      // any standard stream.
      (void)::open("/dev/null", O_RDWR);  // NOLINT(android-cloexec-open)
    }
  }
}

bool privilegesAreRaised() {
  // The mark alone says less: a change of the security domain sets it too, without more rights.
  if (::getauxval(AT_SECURE) == 0) return false;
  if (::getuid() != ::geteuid() || ::getgid() != ::getegid()) return true;
  return ::getuid() != 0 && hasCapabilityOfFile();
}

void sleepSeconds(unsigned int seconds) {
  // Every start comes by here, and even a sleep of no length gives the processor away.
  if (seconds == 0) return;
  // Not sleep(): what it leaves to wait for after a signal is rounded to whole seconds.
  timespec left = {static_cast<std::time_t>(seconds), 0};
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) continue;
}
