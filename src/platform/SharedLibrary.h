#ifndef VELOX_PLATFORM_SHAREDLIBRARY_H
#define VELOX_PLATFORM_SHAREDLIBRARY_H

/// Owns a loaded shared library: it is closed with its owner, unless it is told to stay open.
/// It can be moved, not assigned.
class SharedLibrary {
 public:
  /// Loads the library, lazily bound and with global symbols. On failure it is invalid, and
  /// lastError() gives the reason.
  explicit SharedLibrary(const char* path);
  /// Takes over a handle of the loader, which may be null.
  explicit SharedLibrary(void* handle) : handle_(handle) {}
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary(SharedLibrary&& other) noexcept : handle_(other.stayOpen()) {}
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  SharedLibrary& operator=(SharedLibrary&&) = delete;
  ~SharedLibrary() { close(); }

  explicit operator bool() const { return handle_ != nullptr; }

  /// The address of a symbol, or null. REQUIRES a valid library.
  [[nodiscard]] void* symbol(const char* name) const;

  /// Closes the library now; nothing of it may be touched afterwards. False when the loader
  /// refuses; either way it is owned no more. An invalid library counts as closed.
  bool close();
  /// Gives the handle up, so that the library stays open to the end of the process.
  void* stayOpen();

  /// The loader's reason for the latest failure, or null; asking clears it.
  static const char* lastError();

 private:
  void* handle_;
};

#endif
