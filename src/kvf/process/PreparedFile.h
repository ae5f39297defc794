#ifndef VELOX_KVF_PROCESS_PREPAREDFILE_H
#define VELOX_KVF_PROCESS_PREPAREDFILE_H

#include <filesystem>
#include <string_view>

#include "kvf/process/TemporaryFolder.h"
#include "kvf/process/Unfinished.h"

/// A new file of the user's, whole and stored in a folder beside its place before it gets there. It
/// is removed again unless it is kept, so that several appear together or not at all. Throws
/// FileError, and Interruption.
class PreparedFile final : private Unfinished {
 public:
  PreparedFile(const std::filesystem::path& file, std::string_view text, unsigned mode);
  PreparedFile(const PreparedFile&) = delete;
  PreparedFile& operator=(const PreparedFile&) = delete;
  ~PreparedFile() override { takeBack(); }

  /// Puts it in its place, if that is still free.
  void place();
  void keep() { isPlaced_ = false; }

 private:
  void takeBack() noexcept override;

  std::filesystem::path file_;
  TemporaryFolder beside_;
  bool isPlaced_ = false;  ///< and to be taken back
};

#endif
