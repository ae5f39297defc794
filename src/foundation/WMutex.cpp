#include "foundation/WMutex.h"

void WMutex::InitializeLockable(unsigned int kind) {
  if (kind == 0) {
    lockable_ = std::make_unique<NullMutexImpl>();
  } else {
    lockable_ = std::make_unique<SimpleMutexImpl_POSIX>();
  }
}

ScopedLockGuard::~ScopedLockGuard() {
  // Lock() returns 0 or 1, so the marker never occurs and the guard always unlocks.
  constexpr unsigned int doNotUnlock = 0xFFFFFFFFU;
  if (lockResult_ != doNotUnlock) mutex_->Unlock();
}
