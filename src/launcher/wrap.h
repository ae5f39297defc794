#ifndef VELOX_LAUNCHER_WRAP_H
#define VELOX_LAUNCHER_WRAP_H

#include "foundation/Properties.h"
#include "velox/launch_wrapper.h"

/// What a run does. The numbers are shared with the Windows launcher.
enum class WrapperState : unsigned {
  install = 0,
  uninstall = 1,
  update = 2,
  start = 3,
  stop = 4,
  restart = 5,
  query = 6,
  ntservice = 7,
  run = 8,
  generateScript = 9,
  cmdlineJava = 10,
  version = 11,
  help = 12,
  startSync = 13,
  legacyScript = 14,
  kill = 15,
  cleanInstall = 16
};

/// The state for wrapper.command: run when it is absent, help when it is not known.
WrapperState DetermineWrapperState(const SimpleProperties& properties);

/// Both take and return what LaunchWrapper does.
int WrapperMain(int argc, char** argv, int (*applicationMain)(int, char**),
                void (*applicationStop)());
int UnixWrapperMain(int argc, char** argv, int (*applicationMain)(int, char**),
                    void (*applicationStop)());

#endif
