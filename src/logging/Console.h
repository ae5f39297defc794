#ifndef VELOX_LOGGING_CONSOLE_H
#define VELOX_LOGGING_CONSOLE_H

/// Prints formatted text on standard output and flushes it, without the log file: for answers to
/// the user, and ahead of output that the application writes past stdio.
[[gnu::format(printf, 1, 2)]] void printConsole(const char* format, ...);

#endif
