#include <stdio.h>

#include "velox/native_application.h"

static void (*setState)(SERVICE_STATE state);

void RegisterWrapperEntryPoints(void (*setServiceState)(SERVICE_STATE state)) {
  setState = setServiceState;
}

int AppMain(int argc, char** argv) {
  setState(SERVICE_STATE_RUNNING);
  for (int i = 1; i < argc; ++i) printf("C argument %d: [%s]\n", i, argv[i]);
  return 0;
}

void AppStop(void) {
  setState(SERVICE_STATE_STOPPED);
}
