#ifndef VELOX_PLATFORM_SHAREDLIBRARY_H
#define VELOX_PLATFORM_SHAREDLIBRARY_H

#include "foundation/WString.h"

/// The handle of a shared library in this process; copies name the same library, and one of them
/// closes it. It stays open to the end of the process unless it is closed: at exit, code of it may
/// still run.
class SharedLibrary {
 public:
  SharedLibrary() = default;
  /// A handle of the loader; null is no library.
  explicit SharedLibrary(void* handle) : handle_(handle) {}

  /// Loads a library of the application, lazily bound and with global symbols. Ends the process
  /// when that fails: the loader's reason as a debug line, a line that shows `configured`, the
  /// setting that the path comes from, and the catalogue message with the path.
  static SharedLibrary load(const WString& path, const WString& configured);

  explicit operator bool() const { return handle_ != nullptr; }

  /// The address of a symbol, or null. REQUIRES a library.
  [[nodiscard]] void* symbol(const char* name) const;

  /// Closes the library, if there is one; nothing of it may be touched afterwards. A refusal of the
  /// loader is only a debug line.
  void close() const;

 private:
  void* handle_ = nullptr;
};

#endif
