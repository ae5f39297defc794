#include "config/ProcessIdFile.h"

#include <cstdio>
#include <string>
#include <utility>

#include <unistd.h>

#include "foundation/WriteSignalGuard.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "platform/Stream.h"

namespace {

bool writeProcessId(const char* fileName) {
  const WriteSignalGuard guard;
  Stream file = openStream(fileName, "w");
  if (!file) return false;
  // Unbuffered: nothing may follow a write that failed.
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  std::fputs(std::to_string(sii_GetProcessID()).c_str(), file.get());
  if (closeWritten(std::move(file))) return true;
  // A device cannot be emptied, and need not be.
  [[maybe_unused]] const int emptied = ::truncate(fileName, 0);
  return false;
}

}  // namespace

void writeProcessIdFile(const char* fileName) {
  if (!writeProcessId(fileName)) printConsole("file %s can not access", fileName);
}
