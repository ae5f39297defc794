// A native application; ENTRY says which of the entry points it has: 3 all, 1 AppMain, 2 the rest.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "velox/native_application.h"

static const char* environment(const char* name) {
  const char* value = getenv(name);
  return value == NULL ? "" : value;
}

#if ENTRY & 1
static volatile sig_atomic_t isToldToEnd;

static void heed(int signal) {
  (void)signal;
  isToldToEnd = 1;
}

int AppMain(int argc, char** argv) {
  const int heeds = strcmp(environment("STATUS"), "heed") == 0;
  for (int number = SIGHUP; heeds && number <= SIGTERM; ++number) signal(number, heed);
  for (int i = 1; i < argc; ++i) printf("arg[%s]\n", argv[i]);
  fflush(stdout);
  if (strcmp(environment("STATUS"), "crash") == 0) raise(SIGKILL);
  if (strcmp(environment("STATUS"), "wait") == 0) pause();
  while (heeds && !isToldToEnd) usleep(1000);
  return atoi(environment("STATUS"));
}
#endif

#if ENTRY & 2
void AppStop(void) {}

void RegisterWrapperEntryPoints(void (*setServiceState)(SERVICE_STATE state)) {
  setServiceState(SERVICE_STATE_STOP_PENDING);
  puts("registered");
}
#endif

__attribute__((destructor)) static void closed(void) {
  const char* when = access(environment("PID_FILE"), F_OK) == 0 ? "early" : "at the end";
  printf("%d closed %s\n", ENTRY, when);
  fflush(stdout);
}
