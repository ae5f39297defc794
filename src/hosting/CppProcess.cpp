#include "hosting/CppProcess.h"

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/WException.h"
#include "hosting/LibraryLoading.h"
#include "javarun/CommonTool.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"
#include "platform/ServiceStatus.h"

std::unique_ptr<CppProcess> CppProcess::s_pCppProcess;

namespace {

using RegisterFunction = void (*)(void (*)(SERVICE_STATE));

/// What a native application exports, in the order of lookup and complaint. The first library that
/// exports a name supplies it.
struct EntryPoint {
  const char* symbol;
  const char* nameInComplaint;
};

enum EntryIndex : std::size_t { mainEntry, stopEntry, registrationEntry, entryCount };

constexpr EntryPoint entryPoints[entryCount] = {
    {"AppMain", "AppMain"},
    {"AppStop", "pAppStop"},
    {"RegisterWrapperEntryPoints", "RegisterWrapperEntryPoints"},
};

using EntryAddresses = std::array<void*, entryCount>;

bool isComplete(const EntryAddresses& addresses) {
  return std::find(addresses.begin(), addresses.end(), nullptr) == addresses.end();
}

/// True when the library supplied an entry point that was missing.
bool takeEntryPoints(const SharedLibrary& library, EntryAddresses& addresses) {
  bool supplied = false;
  for (std::size_t i = 0; i < entryCount; ++i) {
    if (addresses[i] != nullptr) continue;
    addresses[i] = library.symbol(entryPoints[i].symbol);
    supplied = supplied || addresses[i] != nullptr;
  }
  return supplied;
}

void requireAll(const EntryAddresses& addresses) {
  for (std::size_t i = 0; i < entryCount; ++i) {
    if (addresses[i] != nullptr) continue;
    Logging::FatalError({"Failed to load shared lib procedure entry point \"",
                         entryPoints[i].nameInComplaint, "\""});
  }
}

}  // namespace

CppProcess::CppProcess(const std::vector<void*>& handles, MainFunction applicationMain,
                       StopFunction applicationStop)
    : libraries_(handles.begin(), handles.end()),
      applicationMain_(applicationMain),
      applicationStop_(applicationStop) {}

CppProcess::~CppProcess() {
  for (SharedLibrary& library : libraries_) library.stayOpen();
}

void CppProcess::CreateSharedProcess(void* handle, MainFunction applicationMain,
                                     StopFunction applicationStop) {
  std::vector<void*> handles;
  if (handle != nullptr) handles.push_back(handle);
  CreateSharedProcess(handles, applicationMain, applicationStop);
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
  for (SharedLibrary& library : std::exchange(s_pCppProcess->libraries_, {})) {
    unloadLibrary(library);
  }
}

bool CppProcess::LoadSharedLibrary(const WString& libraries) {
  if (s_pCppProcess) return false;
  EntryAddresses entries = {};
  std::vector<void*> handles;
  for (const WString& path : CommonTool::splitEx(libraries, ":")) {
    if (isComplete(entries)) break;
    SharedLibrary library = loadLibrary(path, libraries);
    const bool supplies = takeEntryPoints(library, entries);
    // One that supplies nothing stays open all the same: others may need its symbols.
    void* handle = library.stayOpen();
    if (supplies) handles.push_back(handle);
  }
  requireAll(entries);
  reinterpret_cast<RegisterFunction>(entries[registrationEntry])(SetServiceState);
  CreateSharedProcess(handles, reinterpret_cast<MainFunction>(entries[mainEntry]),
                      reinterpret_cast<StopFunction>(entries[stopEntry]));
  return true;
}

int CppProcess::AppMain(int argc, char** argv) {
  if (applicationMain_ == nullptr) EventLogging::FatalError(message::noLibraryConfigured, 0);
  return applicationMain_(argc, argv);
}

void CppProcess::AppStop() {
  if (canStop()) applicationStop_();
}
