#include "foundation/WMutex.h"

void WMutex::InitializeLockable(unsigned int kind) {
  lockable_ = &null_;
  if (kind != 0) lockable_ = &posix_;
}
