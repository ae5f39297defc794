/* A native application that runs until it is stopped; $STOP says how that goes. */
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "velox/native_application.h"

static atomic_bool isStopped;

static void tell(const char* line) {
  puts(line);
  fflush(stdout);
}

int AppMain(int argc, char** argv) {
  (void)argc;
  (void)argv;
  tell("ready");
  while (!isStopped) usleep(1000);
  return 7;
}

void AppStop(void) {
  const char* how = getenv("STOP");
  if (how != NULL && strcmp(how, "stuck") == 0) {
    tell("stuck");
    for (;;) pause();
  }
  isStopped = true;
  usleep(100000);
  tell("stop");
}

void RegisterWrapperEntryPoints(void (*setServiceState)(SERVICE_STATE state)) {
  (void)setServiceState;
}
