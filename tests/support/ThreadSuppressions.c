/* What ThreadSanitizer passes over in the launcher and in tests that host a JVM. */

const char* __tsan_default_suppressions(void);

const char* __tsan_default_suppressions(void) {
  /* The JVM's own code is not instrumented, so its locks and atomics are not seen and what it does
   * through the C library looks like races; its signal handlers allocate as they see fit. */
  return "race:libjvm.so\n"
         "signal:libjvm.so\n";
}
