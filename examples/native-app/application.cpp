#include <cstdio>
#include <string>
#include <vector>

#include "velox/native_application.h"

namespace {
void (*setState)(SERVICE_STATE state) = nullptr;
}

void RegisterWrapperEntryPoints(void (*setServiceState)(SERVICE_STATE state)) {
  setState = setServiceState;
}

int AppMain(int argc, char** argv) {
  setState(SERVICE_STATE_RUNNING);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  for (const std::string& argument : arguments)
    std::printf("C++ argument: [%s]\n", argument.c_str());
  return 0;
}

void AppStop() {
  setState(SERVICE_STATE_STOPPED);
}
