#include "hosting/CppProcess.h"

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/WString.h"
#include "hosting/ServiceWrapper.h"
#include "javarun/ClassPath.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"

constinit CppProcess::Lasting CppProcess::s_pCppProcess;

namespace {

using RegisterFunction = void (*)(void (*)(SERVICE_STATE));

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
    Logging::FatalError(
        {"Failed to load shared lib procedure entry point \"", entryPoints[i].nameInMessage, "\""});
  }
}

}  // namespace

void CppProcess::create(std::vector<SharedLibrary> libraries, MainFunction applicationMain,
                        StopFunction applicationStop) {
  if (s_pCppProcess.process) return;
  s_pCppProcess.process = withMemoryException([&] {
    return std::make_unique<CppProcess>(std::move(libraries), applicationMain, applicationStop);
  });
}

void CppProcess::CreateSharedProcess(void* handle, MainFunction applicationMain,
                                     StopFunction applicationStop) {
  create({SharedLibrary(handle)}, applicationMain, applicationStop);
}

void CppProcess::CreateSharedProcess(const std::vector<void*>& handles,
                                     MainFunction applicationMain, StopFunction applicationStop) {
  create({handles.begin(), handles.end()}, applicationMain, applicationStop);
}

void CppProcess::DestroySharedProcess() {
  UnloadLibrary();
  s_pCppProcess.process.reset();
}

void CppProcess::UnloadLibrary() {
  if (!s_pCppProcess.process) return;
  for (const SharedLibrary& library : std::exchange(s_pCppProcess.process->libraries_, {})) {
    library.close();
  }
}

bool CppProcess::LoadSharedLibrary(const WString& libraries) {
  if (s_pCppProcess.process) return false;
  EntryAddresses entries = {};
  std::vector<SharedLibrary> suppliers;
  for (const WString& path : CommonTool::splitEx(libraries, ":")) {
    if (isComplete(entries)) break;
    // One that supplies nothing stays open all the same: others may need its symbols.
    const SharedLibrary library = SharedLibrary::load(path, libraries);
    if (takeEntryPoints(library, entries)) suppliers.push_back(library);
  }
  requireAll(entries);
  reinterpret_cast<RegisterFunction>(entries[registrationEntry])(SetServiceState);
  create(std::move(suppliers), reinterpret_cast<MainFunction>(entries[mainEntry]),
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
