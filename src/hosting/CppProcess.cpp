#include "hosting/CppProcess.h"

#include <utility>

#include "foundation/WException.h"
#include "javarun/CommonTool.h"
#include "logging/Console.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "platform/ServiceStatus.h"

std::unique_ptr<CppProcess> CppProcess::s_pCppProcess;

namespace {

using RegisterFunction = void (*)(void (*)(SERVICE_STATE));

/// What a native application exports. The first library that exports a name supplies it.
struct EntryPoint {
  const char* symbol;
  const char* complaint;
  void* address = nullptr;
};

struct EntryPoints {
  EntryPoint main = {"AppMain", "Failed to load shared lib procedure entry point \"AppMain\""};
  EntryPoint stop = {"AppStop", "Failed to load shared lib procedure entry point \"pAppStop\""};
  EntryPoint registration = {
      "RegisterWrapperEntryPoints",
      "Failed to load shared lib procedure entry point \"RegisterWrapperEntryPoints\""};

  [[nodiscard]] bool complete() const {
    return main.address != nullptr && stop.address != nullptr && registration.address != nullptr;
  }

  /// True when the library supplied an entry point that was missing.
  bool takeFrom(void* library) {
    bool supplied = false;
    for (EntryPoint* entry : {&main, &stop, &registration}) {
      if (entry->address != nullptr) continue;
      entry->address = sii_GetProcAddress(library, entry->symbol);
      supplied = supplied || entry->address != nullptr;
    }
    return supplied;
  }

  void requireAll() const {
    for (const EntryPoint* entry : {&main, &stop, &registration}) {
      if (entry->address == nullptr) Logging::FatalError(entry->complaint);
    }
  }
};

void* openLibrary(const WString& path, const WString& libraries) {
  void* library = sii_LoadSharedLibrary(path.c_str());
  if (library == nullptr) {
    printConsole("Lib name %s\n", libraries.c_str());
    EventLogging::FatalError(message::failedToLoadLibrary, 1, path.c_str());
  }
  return library;
}

void closeLibrary(void* library) {
  if (sii_FreeLibrary(library) != 0) Logging::Debug("Failed to unload shared library");
}

}  // namespace

CppProcess::CppProcess(void* handle, MainFunction applicationMain, StopFunction applicationStop)
    : handle_(handle), applicationMain_(applicationMain), applicationStop_(applicationStop) {}

CppProcess::CppProcess(std::vector<void*> handles, MainFunction applicationMain,
                       StopFunction applicationStop)
    : handles_(std::move(handles)),
      applicationMain_(applicationMain),
      applicationStop_(applicationStop) {}

void CppProcess::CreateSharedProcess(void* handle, MainFunction applicationMain,
                                     StopFunction applicationStop) {
  if (s_pCppProcess) return;
  s_pCppProcess = withMemoryException(
      [&] { return std::make_unique<CppProcess>(handle, applicationMain, applicationStop); });
}

void CppProcess::CreateSharedProcess(const std::vector<void*>& handles,
                                     MainFunction applicationMain, StopFunction applicationStop) {
  if (s_pCppProcess) return;
  s_pCppProcess = withMemoryException(
      [&] { return std::make_unique<CppProcess>(handles, applicationMain, applicationStop); });
}

void CppProcess::DestroySharedProcess() {
  UnloadLibrary();
  s_pCppProcess.reset();
}

void CppProcess::UnloadLibrary() {
  if (!s_pCppProcess) return;
  if (s_pCppProcess->handle_ != nullptr) closeLibrary(s_pCppProcess->handle_);
  for (void* library : s_pCppProcess->handles_) closeLibrary(library);
}

bool CppProcess::LoadSharedLibrary(const WString& libraries) {
  if (s_pCppProcess) return false;
  EntryPoints entries;
  std::vector<void*> handles;
  for (const WString& path : CommonTool::splitEx(libraries, ":")) {
    if (entries.complete()) break;
    void* library = openLibrary(path, libraries);
    // A library that supplies nothing stays open: others may need its symbols.
    if (entries.takeFrom(library)) handles.push_back(library);
  }
  entries.requireAll();
  reinterpret_cast<RegisterFunction>(entries.registration.address)(SetServiceState);
  CreateSharedProcess(handles, reinterpret_cast<MainFunction>(entries.main.address),
                      reinterpret_cast<StopFunction>(entries.stop.address));
  return true;
}

int CppProcess::AppMain(int argc, char** argv) {
  if (applicationMain_ == nullptr) EventLogging::FatalError(message::noLibraryConfigured, 0);
  return applicationMain_(argc, argv);
}

void CppProcess::AppStop() {
  if (applicationStop_ != nullptr) applicationStop_();
}
