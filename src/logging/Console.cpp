#include "logging/Console.h"

#include <cstdarg>
#include <cstdio>

void printConsole(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::fflush(stdout);
}
