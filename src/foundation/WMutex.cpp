#include "foundation/WMutex.h"

void WMutex::InitializeLockable(unsigned int kind) {
  if (kind == 0) {
    lockable_ = std::make_unique<NullMutexImpl>();
  } else {
    lockable_ = std::make_unique<SimpleMutexImpl_POSIX>();
  }
}
