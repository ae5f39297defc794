#ifndef VELOX_PLATFORM_THISPROCESS_H
#define VELOX_PLATFORM_THISPROCESS_H

/// Opens /dev/null for each of the descriptors 0, 1 and 2 that is closed, so that no file takes its
/// place and receives what is printed.
void openClosedStandardStreams();

/// True when this program was started with rights that its caller lacks: set-user-ID, set-group-ID
/// or file capabilities.
[[nodiscard]] bool privilegesAreRaised();

/// Waits for that many seconds; signals do not shorten the wait.
void sleepSeconds(unsigned int seconds);

#endif
