#include "platform/SharedLibrary.h"

#include <dlfcn.h>

#include "logging/EventLogging.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

SharedLibrary SharedLibrary::load(const WString& path, const WString& configured) {
  if (void* handle = sii_LoadSharedLibrary(path.c_str())) return SharedLibrary(handle);
  if (const char* reason = ::dlerror()) Logging::Debug(reason);
  printConsole("Lib name %s\n", configured.c_str());
  EventLogging::FatalError(message::failedToLoadLibrary, 1, path.c_str());
}

void* SharedLibrary::symbol(const char* name) const {
  return sii_GetProcAddress(handle_, name);
}

void SharedLibrary::close() const {
  if (handle_ != nullptr && sii_FreeLibrary(handle_) != 0) {
    Logging::Debug("Failed to unload shared library");
  }
}
