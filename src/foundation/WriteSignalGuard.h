#ifndef VELOX_FOUNDATION_WRITESIGNALGUARD_H
#define VELOX_FOUNDATION_WRITESIGNALGUARD_H

#include <csignal>

/// While it lives, a write of this thread that fails only returns its error: the signals of a
/// file-size limit and of a pipe without a reader, which would end the process, are dropped.
class WriteSignalGuard {
 public:
  WriteSignalGuard();
  WriteSignalGuard(const WriteSignalGuard&) = delete;
  WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;
  ~WriteSignalGuard();

 private:
  sigset_t formerMask_;
};

#endif
