#ifndef VELOX_LAUNCH_WRAPPER_H
#define VELOX_LAUNCH_WRAPPER_H

#include "velox/launch.h"

/// velox_launch by its C++ name, with the same contract.
VELOX_PUBLIC int LaunchWrapper(int argc, char** argv, int (*applicationMain)(int, char**),
                               void (*applicationStop)());

#endif
