#include "platform/SharedLibrary.h"

#include <utility>

#include <dlfcn.h>

#include "platform/OS_Abstractions.h"

SharedLibrary::SharedLibrary(const char* path) : handle_(sii_LoadSharedLibrary(path)) {}

void* SharedLibrary::symbol(const char* name) const {
  return sii_GetProcAddress(handle_, name);
}

bool SharedLibrary::close() {
  void* handle = stayOpen();
  return handle == nullptr || sii_FreeLibrary(handle) == 0;
}

void* SharedLibrary::stayOpen() {
  return std::exchange(handle_, nullptr);
}

const char* SharedLibrary::lastError() {
  return ::dlerror();
}
