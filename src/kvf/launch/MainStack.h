#ifndef VELOX_KVF_LAUNCH_MAINSTACK_H
#define VELOX_KVF_LAUNCH_MAINSTACK_H

#include <cstddef>
#include <optional>

#include "kvf/launch/JvmOptions.h"

/// A stack size that threads get and main in this process does not.
struct MainStack {
  SizeOption wanted;
  std::size_t limit = 0;  ///< the soft stack limit, in bytes: what it gets
};

/// The launcher raises the limit for java.thread.stack.size, and not for an option -Xss of the
/// option line. Nothing when main gets what is wanted.
std::optional<MainStack> stackThatMainLacks(const Inspection& inspection);

#endif
