#ifndef VELOX_LAUNCHER_EXCEPTIONEND_H
#define VELOX_LAUNCHER_EXCEPTIONEND_H

#include "foundation/WString.h"

/// Reports the exception like a fatal message and ends the process with Logging::fatalStatus.
[[noreturn]] void endWith(const WException& exception);

/// Memory may be so short that not even an exception can be made, and the language's run-time calls
/// std::terminate. While this lives, that ends the process as by endWith; what has other reasons
/// goes to the former handler. One at a time.
class MemoryTerminateHandler {
 public:
  MemoryTerminateHandler();
  MemoryTerminateHandler(const MemoryTerminateHandler&) = delete;
  MemoryTerminateHandler& operator=(const MemoryTerminateHandler&) = delete;
  ~MemoryTerminateHandler();
};

#endif
