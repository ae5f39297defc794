#include "hosting/SharedLibrary.h"

#include "logging/Console.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

void* openSharedLibrary(const WString& path, const WString& shownName) {
  void* library = sii_LoadSharedLibrary(path.c_str());
  if (library == nullptr) {
    printConsole("Lib name %s\n", shownName.c_str());
    EventLogging::FatalError(message::failedToLoadLibrary, 1, path.c_str());
  }
  return library;
}

void closeSharedLibrary(void* library) {
  if (sii_FreeLibrary(library) != 0) Logging::Debug("Failed to unload shared library");
}
