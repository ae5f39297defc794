#include "hosting/LibraryLoading.h"

#include "logging/Console.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"

SharedLibrary loadLibrary(const WString& path, const WString& configured) {
  SharedLibrary library(path.c_str());
  if (library) return library;
  if (const char* reason = SharedLibrary::lastError()) Logging::Debug(reason);
  printConsole("Lib name %s\n", configured.c_str());
  EventLogging::FatalError(message::failedToLoadLibrary, 1, path.c_str());
}

void unloadLibrary(SharedLibrary& library) {
  if (!library.close()) Logging::Debug("Failed to unload shared library");
}
