#include "kvf/process/PreparedFile.h"

#include "kvf/process/Files.h"
#include "kvf/process/Interruption.h"

namespace fs = std::filesystem;

namespace {
constexpr char nameInFolder[] = "file";
}  // namespace

PreparedFile::PreparedFile(const fs::path& file, std::string_view text, unsigned mode)
    : file_(fs::absolute(file)), beside_(file_.parent_path(), ".kvf-") {
  writeNewFile(beside_.path() / nameInFolder, text, mode);
  syncFileSystem(beside_.path());
}

PreparedFile::~PreparedFile() {
  std::error_code error;
  if (isPlaced_) fs::remove(file_, error);
}

void PreparedFile::place() {
  InterruptionWatch::look();
  moveToFreeName(beside_.path() / nameInFolder, file_);
  isPlaced_ = true;
}
