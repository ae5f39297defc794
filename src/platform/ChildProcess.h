#ifndef VELOX_PLATFORM_CHILDPROCESS_H
#define VELOX_PLATFORM_CHILDPROCESS_H

#include <sys/types.h>

/// fork, with the standard streams flushed first so that the child never prints the parent's
/// buffered text again.
pid_t forkFlushed();

/// Waits for the end of exactly that child, through interruptions; returns the raw wait status.
int waitForChild(pid_t child);

#endif
