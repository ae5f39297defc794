/* What AddressSanitizer needs in kvf: it hosts JVMs in copies of itself. A JVM keeps its memory to
 * the end, and Java 25 copies a byte more than its own symbols have when it writes an archive. The
 * environment of such a copy holds nothing of the test's, so no option can say it.
 */
#include <stdio.h>
#include <string.h>

const char* __asan_default_suppressions(void);
int __lsan_is_turned_off(void);

const char* __asan_default_suppressions(void) {
  return "interceptor_via_lib:libjvm.so\n";
}

int __lsan_is_turned_off(void) {
  char line[64] = "";
  FILE* arguments = fopen("/proc/self/cmdline", "re");
  if (arguments == NULL) return 0;
  const size_t length = fread(line, 1, sizeof line - 1, arguments);
  fclose(arguments);
  const char* word = memchr(line, '\0', length);
  return word != NULL && strcmp(word + 1, "try-jvm") == 0;
}
