#include "kvf/process/PreparedFile.h"

#include <cerrno>
#include <utility>

#include "kvf/process/FileError.h"
#include "kvf/process/FileMove.h"
#include "kvf/process/FileSync.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/NewFile.h"

namespace fs = std::filesystem;

namespace {

constexpr char nameInFolder[] = "file";

/// Throws for the file itself where its folder is none.
fs::path folderOf(const fs::path& file) {
  std::error_code error;
  if (!fs::is_directory(file.parent_path(), error))
    throw FileError("make", file, error ? error.value() : ENOTDIR);
  return file.parent_path();
}

}  // namespace

PreparedFile::PreparedFile(const fs::path& file, std::string_view text, unsigned mode)
    : file_(fs::absolute(file)), beside_(folderOf(file_), ".kvf-") {
  writeNewFile(beside_.path() / nameInFolder, text, mode);
  syncFile(beside_.path() / nameInFolder);
}

void PreparedFile::takeBack() noexcept {
  if (std::exchange(isPlaced_, false)) removeFile(file_.native());
}

void PreparedFile::place() {
  InterruptionWatch::look();
  moveToFreeName(beside_.path() / nameInFolder, file_);
  isPlaced_ = true;
  syncFolder(file_.parent_path());
}
