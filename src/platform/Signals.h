#ifndef VELOX_PLATFORM_SIGNALS_H
#define VELOX_PLATFORM_SIGNALS_H

/// Sends this process a signal that it withheld, for the action that it has now. Where that is the
/// default action of a process with the ID 1, which the system does not carry out, the process ends
/// with status 128 + signal. Returns when a handler does. Output is flushed before.
void raiseAgain(int signal);

#endif
