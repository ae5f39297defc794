#ifndef VELOX_KVF_PROCESS_TEMPORARYFOLDER_H
#define VELOX_KVF_PROCESS_TEMPORARYFOLDER_H

#include <filesystem>
#include <string>

#include "kvf/process/Unfinished.h"

/// A new folder that only this user may enter, removed with all that is in it.
class TemporaryFolder final : private Unfinished {
 public:
  /// Makes the folder in the place for temporary files, TMPDIR or /tmp. Throws FileError.
  TemporaryFolder();
  /// Makes it in the parent; the name begins with the prefix. Throws FileError.
  TemporaryFolder(const std::filesystem::path& parent, const std::string& prefix);
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  /// Says on standard error what cannot be removed.
  ~TemporaryFolder() override { takeBack(); }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// Gives the folder to the owner of its parent, where this process may do so, so that a program
  /// of that user can write into it.
  void giveToOwnerOfParent() const;
  /// Leaves the folder where it is, when something in it must not be lost.
  void keep() noexcept { isToBeRemoved_ = false; }

 private:
  /// The pattern ends as mkdtemp() needs it.
  explicit TemporaryFolder(std::string pattern);
  void takeBack() noexcept override;

  std::string name_;
  bool isToBeRemoved_ = true;
  std::filesystem::path path_;
};

#endif
