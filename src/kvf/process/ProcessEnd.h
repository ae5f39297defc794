#ifndef VELOX_KVF_PROCESS_PROCESSEND_H
#define VELOX_KVF_PROCESS_PROCESSEND_H

#include <chrono>
#include <type_traits>

/// What became of a program, as the process that watched it tells through a pipe.
struct ProcessEnd {
  int error = 0;          ///< why it could not be started; an error number of the system
  int status = 0;         ///< exit status, or 128 and the number of the signal that ended it
  bool stopped = false;   ///< it was asked to end: the limit was reached, or its work was done
  bool killed = false;    ///< it did not end by itself then
  bool survived = false;  ///< some of what it started does not end, even when it is killed
  int process = 0;        ///< ID of the program
  std::chrono::steady_clock::time_point started = {};
  std::chrono::nanoseconds time = {};           ///< from the start to the end
  std::chrono::nanoseconds processorTime = {};  ///< of the program and the children it waited for
};
static_assert(std::is_trivially_copyable_v<ProcessEnd>);

#endif
