#ifndef VELOX_PLATFORM_SLEEP_H
#define VELOX_PLATFORM_SLEEP_H

/// Waits for that many seconds; signals do not shorten the wait.
void sleepSeconds(unsigned int seconds);

#endif
