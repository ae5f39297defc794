#ifndef VELOX_PLATFORM_STACKLIMIT_H
#define VELOX_PLATFORM_STACKLIMIT_H

#include <cstddef>
#include <string_view>

/// Raises the soft stack limit, and so the stack of the main thread, to this many bytes, but not
/// beyond the hard limit nor into what is mapped below the stack. A limit is never lowered.
/// Programs started later inherit it.
void raiseStackLimit(std::size_t bytes);

/// The free bytes below the main thread's stack together with the stack, in a listing like
/// /proc/self/maps; 0 when it shows no stack.
[[nodiscard]] std::size_t roomForStack(std::string_view maps);

#endif
