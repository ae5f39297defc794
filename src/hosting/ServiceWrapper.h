#ifndef VELOX_HOSTING_SERVICEWRAPPER_H
#define VELOX_HOSTING_SERVICEWRAPPER_H

#include "foundation/Properties.h"
#include "velox/native_application.h"

/// Builds the argument vector of a native application: the program name and the positional
/// arguments of the launcher's command line, then the words of application.args. Null with a count
/// of 0 when neither is there; DestroyArgs frees it.
void CreateArgs(const SimpleProperties& properties, int& argc, char**& argv);

/// Frees the first `argc` texts, skipping null ones, and the vector; both arguments stay as they
/// are.
void DestroyArgs(int& argc, char**& argv);

/// Owns the argument vector of a native application.
class NativeArguments {
 public:
  explicit NativeArguments(const SimpleProperties& properties) {
    CreateArgs(properties, count_, vector_);
  }
  NativeArguments(const NativeArguments&) = delete;
  NativeArguments& operator=(const NativeArguments&) = delete;
  ~NativeArguments() { DestroyArgs(count_, vector_); }

  [[nodiscard]] int count() const { return count_; }
  [[nodiscard]] char** vector() const { return vector_; }

 private:
  int count_ = 0;
  char** vector_ = nullptr;
};

/// A copy of the first `length` characters with a terminating NUL, for DestroyArgs to free. Throws
/// the default memory exception when there is no memory.
char* NewArgCopy(const char* text, unsigned long length);

/// Reports the service state to a service manager; this platform has none.
void SetServiceState(SERVICE_STATE state);

/// The path of the service binary, for wrapper.binary.path. There are no services on this platform:
/// it is empty.
class ServiceUtils {
 public:
  static void SetServiceBinaryPath(const WString& path) { s_BinaryPath = path; }
  static WString GetServiceBinaryPath() { return s_BinaryPath; }

 private:
  static inline WString s_BinaryPath;
};

#endif
