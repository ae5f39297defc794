#ifndef VELOX_LOGGING_CONSOLE_H
#define VELOX_LOGGING_CONSOLE_H

/// Prints formatted text on standard output only, never to the log. It is flushed, so that it
/// appears before what the application prints by itself.
[[gnu::format(printf, 1, 2)]] void printConsole(const char* format, ...);

#endif
