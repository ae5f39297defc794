/* A native application that runs until it is stopped; $STOP says how that goes. */
#include <signal.h>
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

static void stopBySignal(int signal) {
  (void)signal;
  isStopped = true;
}

static bool goes(const char* how) {
  const char* stop = getenv("STOP");
  return stop != NULL && strcmp(stop, how) == 0;
}

int AppMain(int argc, char** argv) {
  (void)argc;
  (void)argv;
  if (goes("by signal")) signal(SIGTERM, stopBySignal);
  tell("ready");
  while (!isStopped) usleep(1000);
  return 7;
}

void AppStop(void) {
  if (goes("stuck")) {
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
