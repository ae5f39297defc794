/* What ThreadSanitizer needs in the launcher and in tests that host a JVM. */
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

const char* __tsan_default_suppressions(void);

const char* __tsan_default_suppressions(void) {
  /* The JVM's own code is not instrumented, so its locks and atomics are not seen and what it does
   * through the C library looks like races; its signal handlers allocate as they see fit. */
  return "race:libjvm.so\n"
         "signal:libjvm.so\n";
}

/* ThreadSanitizer holds signals back until a call returns, unless it knows that the call blocks. It
 * knows that of usleep, not of waitid, where the launcher passes signals on. */
int waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
  for (;;) {
    info->si_pid = 0;
    const int result = (int)syscall(SYS_waitid, type, id, info, options | WNOHANG, NULL);
    if (result != 0 || info->si_pid != 0) return result;
    usleep(1000);
  }
}
