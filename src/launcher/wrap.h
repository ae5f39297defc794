#ifndef VELOX_LAUNCHER_WRAP_H
#define VELOX_LAUNCHER_WRAP_H

#include "config/Commands.h"
#include "foundation/Properties.h"
#include "velox/launch_wrapper.h"

/// The state of commandIn. Interface only.
WrapperState DetermineWrapperState(const SimpleProperties& properties);

/// Takes, returns and ends like LaunchWrapper.
int WrapperMain(int argc, char** argv, int (*applicationMain)(int, char**),
                void (*applicationStop)());

/// The same, but exhausted memory leaves as a WException.
int UnixWrapperMain(int argc, char** argv, int (*applicationMain)(int, char**),
                    void (*applicationStop)());

#endif
