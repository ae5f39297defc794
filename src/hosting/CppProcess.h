#ifndef VELOX_HOSTING_CPPPROCESS_H
#define VELOX_HOSTING_CPPPROCESS_H

#include <memory>
#include <vector>

#include "foundation/WString.h"
#include "platform/SharedLibrary.h"

/// A native application in this process: entry points that come from shared libraries or from a
/// host program. There is at most one; the first that is created wins.
class CppProcess {
 public:
  using MainFunction = int (*)(int, char**);
  using StopFunction = void (*)();

  CppProcess(const std::vector<void*>& handles, MainFunction applicationMain,
             StopFunction applicationStop);
  CppProcess(const CppProcess&) = delete;
  CppProcess& operator=(const CppProcess&) = delete;
  /// Libraries that were not unloaded stay open: at exit, code of theirs may still run.
  virtual ~CppProcess();

  /// Creates the shared instance unless there is one. It takes the handles over; handle and
  /// functions may be null. Exhausted memory throws the default memory exception.
  static void CreateSharedProcess(void* handle, MainFunction applicationMain,
                                  StopFunction applicationStop);
  static void CreateSharedProcess(const std::vector<void*>& handles, MainFunction applicationMain,
                                  StopFunction applicationStop);
  /// The shared instance or null.
  static CppProcess* GetSharedProcess() { return s_pCppProcess.get(); }
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
  static std::unique_ptr<CppProcess> s_pCppProcess;

  std::vector<SharedLibrary> libraries_;
  MainFunction applicationMain_;
  StopFunction applicationStop_;
};

#endif
