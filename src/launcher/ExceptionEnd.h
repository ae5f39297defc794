#ifndef VELOX_LAUNCHER_EXCEPTIONEND_H
#define VELOX_LAUNCHER_EXCEPTIONEND_H

#include "foundation/WException.h"

/// Tells the exception like a fatal message and ends the process with Logging::fatalStatus.
[[noreturn]] void endWith(const WException& exception);

/// For a program's main: memory may be so short that not even an exception can be made. The
/// language's run-time then ends the process with SIGABRT; from here on it ends as by endWith.
void handleEndWithoutException();

#endif
