#ifndef VELOX_KVF_PROCESS_TEMPORARYFOLDER_H
#define VELOX_KVF_PROCESS_TEMPORARYFOLDER_H

#include <filesystem>
#include <string>

/// A new folder that only this user may enter, removed with all that is in it.
class TemporaryFolder {
 public:
  /// Makes the folder in the place for temporary files, TMPDIR or /tmp. Throws FileError.
  TemporaryFolder();
  /// Makes it in the parent; the name begins with the prefix. Throws FileError.
  TemporaryFolder(const std::filesystem::path& parent, const std::string& prefix);
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  /// Says on standard error what cannot be removed.
  ~TemporaryFolder();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// Gives the folder to the owner of its parent, where this process may do so, so that a program
  /// of that user can write into it.
  void giveToOwnerOfParent() const;
  /// Leaves the folder where it is, when something in it must not be lost.
  void keep() { kept_ = true; }
  /// The folder may hold what was the user's: removeAll() leaves it.
  void holdFilesOfUser() { holdsFilesOfUser_ = true; }

  /// Removes those that this process has made, for an end that runs no destructors. Takes no
  /// memory.
  static void removeAll() noexcept;

 private:
  std::filesystem::path path_;
  bool kept_ = false;
  bool holdsFilesOfUser_ = false;
  int process_;                    ///< that made it; a copy of that process removes nothing
  mutable TemporaryFolder* next_;  ///< in the list of all
  inline static TemporaryFolder* first_ = nullptr;
};

#endif
