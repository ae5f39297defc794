#ifndef VELOX_HOSTING_CPPPROCESS_H
#define VELOX_HOSTING_CPPPROCESS_H

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "foundation/WString.h"
#include "platform/SharedLibrary.h"

/// A function that the libraries of a native application export together.
struct EntryPoint {
  const char* symbol;
  const char* nameInMessage;
};

enum EntryIndex : std::size_t { mainEntry, stopEntry, registrationEntry, entryCount };

/// In the order of lookup and of the messages. The first library that exports a name supplies it.
inline constexpr EntryPoint entryPoints[entryCount] = {
    {"AppMain", "AppMain"},
    {"AppStop", "pAppStop"},
    {"RegisterWrapperEntryPoints", "RegisterWrapperEntryPoints"},
};

/// A native application in this process: entry points that come from shared libraries or from a
/// host program. There is at most one; the first that is created wins.
class CppProcess {
 public:
  using MainFunction = int (*)(int, char**);
  using StopFunction = void (*)();

  CppProcess(std::vector<SharedLibrary> libraries, MainFunction applicationMain,
             StopFunction applicationStop)
      : libraries_(std::move(libraries)),
        applicationMain_(applicationMain),
        applicationStop_(applicationStop) {}
  CppProcess(const CppProcess&) = delete;
  CppProcess& operator=(const CppProcess&) = delete;
  virtual ~CppProcess() = default;

  /// Creates the shared instance unless there is one. It takes the handles over; handle and
  /// functions may be null. Exhausted memory throws the default memory exception.
  static void CreateSharedProcess(void* handle, MainFunction applicationMain,
                                  StopFunction applicationStop);
  static void CreateSharedProcess(const std::vector<void*>& handles, MainFunction applicationMain,
                                  StopFunction applicationStop);
  /// The shared instance or null.
  static CppProcess* GetSharedProcess() { return s_pCppProcess.process.get(); }
  /// Unloads the libraries and destroys the shared instance, if there is one.
  static void DestroySharedProcess();
  /// Closes the libraries of the shared instance.
  static void UnloadLibrary();

  /// Loads libraries from a list with ":" between them until all entry points are found, hands
  /// SetServiceState to the application and creates the shared instance. False when there already
  /// is one. Ends the process when a library cannot be loaded or an entry point is missing.
  static bool LoadSharedLibrary(const WString& libraries);

  /// Runs the application and returns its result; ends the process when there is none.
  int AppMain(int argc, char** argv);
  /// Asks the application to stop, on the calling thread.
  void AppStop();
  /// False when a host program gave no stop function.
  [[nodiscard]] bool canStop() const { return applicationStop_ != nullptr; }

 private:
  static void create(std::vector<SharedLibrary> libraries, MainFunction applicationMain,
                     StopFunction applicationStop);

  /// Not destroyed at exit: a signal that asks the application to stop may still come.
  union Lasting {
    constexpr Lasting() : process() {}
    ~Lasting() {}
    std::unique_ptr<CppProcess> process;
  };
  static Lasting s_pCppProcess;

  std::vector<SharedLibrary> libraries_;
  MainFunction applicationMain_;
  StopFunction applicationStop_;
};

#endif
