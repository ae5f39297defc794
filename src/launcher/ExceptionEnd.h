#ifndef VELOX_LAUNCHER_EXCEPTIONEND_H
#define VELOX_LAUNCHER_EXCEPTIONEND_H

#include "foundation/WString.h"

/// Reports the exception like a fatal message and ends the process with Logging::fatalStatus.
[[noreturn]] void endWith(const WException& exception);

/// Memory may be so short that not even an exception can be made. The language's run-time then ends
/// the process with SIGABRT; while this lives it ends as by endWith. One at a time.
class EndWithoutException {
 public:
  EndWithoutException();
  EndWithoutException(const EndWithoutException&) = delete;
  EndWithoutException& operator=(const EndWithoutException&) = delete;
  ~EndWithoutException();
};

#endif
