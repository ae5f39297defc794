#include "kvf/package/FolderUpdate.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/process/FileAttributes.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileMove.h"
#include "kvf/process/FileSync.h"
#include "kvf/process/FolderFiles.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/NewFile.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned folderMode = 0755;

fs::file_type typeOf(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(path, error);
  if (status.type() == fs::file_type::none) throw FileError("look at", path, error.value());
  return status.type();
}

unsigned modeOf(const fs::path& file) {
  struct stat status = {};
  if (::stat(file.c_str(), &status) != 0) throw FileError("read", file, errno);
  return status.st_mode & 0777U;
}

bool haveSameBytes(const fs::path& left, const fs::path& right) {
  std::ifstream streams[] = {std::ifstream(left, std::ios::binary),
                             std::ifstream(right, std::ios::binary)};
  std::ostringstream texts[2];
  for (int i = 0; i < 2; ++i) {
    // A file that cannot be read counts as different.
    if (!streams[i]) return false;
    texts[i] << streams[i].rdbuf();
  }
  return texts[0].view() == texts[1].view();
}

/// Absolute, and without links.
fs::path wholeName(const fs::path& folder) {
  std::error_code error;
  const fs::path absolute = fs::weakly_canonical(fs::absolute(folder), error);
  if (error) throw FileError("make", folder, error.value());
  return absolute.has_filename() ? absolute : absolute.parent_path();
}

bool isBelow(const fs::path& path, const fs::path& root) {
  const fs::path relative = path.lexically_relative(root);
  return !relative.empty() && *relative.begin() != "..";
}

/// One copy of a folder.
class TreeCopy {
 public:
  TreeCopy(const fs::path& source, fs::path target)
      : root_(fs::canonical(source)), target_(std::move(target)) {}

  std::vector<fs::path> make() {
    copyFolder(root_, target_);
    return std::move(leadingOut_);
  }

 private:
  void copyFolder(const fs::path& from, const fs::path& to) {
    if (::mkdir(to.c_str(), folderMode) != 0 || ::chmod(to.c_str(), folderMode) != 0)
      throw FileError("make", to, errno);
    for (const std::string& name : namesIn(from)) {
      InterruptionWatch::look();
      const fs::path entry = from / name;
      switch (typeOf(entry)) {
        case fs::file_type::symlink:
          copyLink(entry, to / name);
          break;
        case fs::file_type::directory:
          copyFolder(entry, to / name);
          break;
        case fs::file_type::regular:
          copyToNewFile(entry, to / name, modeOf(entry));
          break;
        default:
          throw FileError(concat({entry.native(), " is neither a file, a folder nor a link"}));
      }
    }
  }

  void copyLink(const fs::path& link, const fs::path& place) {
    fs::path text = fs::read_symlink(link);
    const fs::path end = (link.parent_path() / text).lexically_normal();
    std::error_code error;
    const fs::path real = fs::weakly_canonical(end, error);
    const bool staysInside = !error && isBelow(real, root_);
    if (!staysInside) leadingOut_.push_back(place.lexically_relative(target_));
    if (staysInside && text.is_absolute()) text = real.lexically_relative(link.parent_path());
    if (::symlink(text.c_str(), place.c_str()) != 0) throw FileError("make", place, errno);
  }

  fs::path root_;
  fs::path target_;
  std::vector<fs::path> leadingOut_;
};

}  // namespace

FolderUpdate::FolderUpdate(const fs::path& folder)
    : folder_(wholeName(folder)), beside_(folderBeside()), moves_(beside_) {
  madeFolders_.make(parts());
}

TemporaryFolder FolderUpdate::folderBeside() {
  // In an existing folder: the one around it may be on another file system, or not be writable.
  if (typeOf(folder_) != fs::file_type::not_found) return {folder_, ".kvf-"};
  madeFolders_.make(folder_.parent_path());
  const std::string name = folder_.filename().native();
  return {folder_.parent_path(), concat({".", name.substr(0, 200), ".kvf-"})};
}

fs::path FolderUpdate::prepared(const fs::path& part) {
  fs::path file = parts() / part;
  madeFolders_.make(file.parent_path());
  parts_.push_back(part);
  return file;
}

void FolderUpdate::write(const fs::path& part, std::string_view text, unsigned mode) {
  writeNewFile(prepared(part), text, mode);
  texts_.insert(part);
}

void FolderUpdate::copy(const fs::path& source, const fs::path& part,
                        std::optional<unsigned> mode) {
  copyToNewFile(source, prepared(part), mode ? *mode : modeOf(source));
}

std::vector<fs::path> FolderUpdate::copyTree(const fs::path& source, const fs::path& part) {
  return TreeCopy(source, prepared(part)).make();
}

std::vector<fs::path> FolderUpdate::install() {
  syncFileSystem(parts());
  InterruptionWatch::look();
  if (typeOf(folder_) == fs::file_type::not_found) {
    moveToFreeName(parts(), folder_);
  } else {
    for (const fs::path& part : parts_) {
      InterruptionWatch::look();
      place(part);
    }
    syncFileSystem(folder_);
  }
  moves_.keep();
  madeFolders_.keep();
  return std::move(kept_);
}

void FolderUpdate::place(const fs::path& part) {
  const fs::path fresh = parts() / part;
  const fs::path target = folder_ / part;
  madeFolders_.make(target.parent_path());
  const fs::file_type former = typeOf(target);
  if (former == fs::file_type::not_found) {
    moves_.move(fresh, target);
    return;
  }
  const fs::file_type type = typeOf(fresh);
  if (former == fs::file_type::directory && type != former)
    throw FileError(concat({target.native(), " is a folder"}));
  const bool isFile = former == fs::file_type::regular && type == former;
  const bool isEdited = texts_.contains(part) && !(isFile && haveSameBytes(target, fresh));
  if (isFile) takeAttributes(fresh, target);
  if (former != type || isEdited) keepFormer(target);
  moves_.exchange(fresh, target);
}

void FolderUpdate::keepFormer(const fs::path& target) {
  // A second name; the replacement takes the first one in one step.
  for (int number = 1;; ++number) {
    const fs::path name =
        concat({target.native(), ".orig", number == 1 ? "" : "." + std::to_string(number)});
    if (!moves_.link(target, name)) continue;
    kept_.push_back(name);
    return;
  }
}

void FolderUpdate::MadeFolders::make(const fs::path& folder) {
  if (typeOf(folder) != fs::file_type::not_found) {
    if (!fs::is_directory(folder)) throw FileError("make", folder, ENOTDIR);
    return;
  }
  make(folder.parent_path());
  folders_.push_back(folder);
  if (::mkdir(folder.c_str(), folderMode) != 0) {
    const int error = errno;
    folders_.pop_back();
    throw FileError("make", folder, error);
  }
  if (::chmod(folder.c_str(), folderMode) != 0) throw FileError("set the mode of", folder, errno);
}

void FolderUpdate::MadeFolders::takeBack() noexcept {
  for (; !folders_.empty(); folders_.pop_back()) ::rmdir(folders_.back().c_str());
}

FolderUpdate::Moves::Move& FolderUpdate::Moves::noted(Move::Kind kind, const fs::path& fresh,
                                                      const fs::path& target) {
  return moves_.emplace_back(Move{kind, fresh, target, fresh.native() + ".former"});
}

void FolderUpdate::Moves::move(const fs::path& fresh, const fs::path& target) {
  Move& move = noted(Move::Kind::moved, fresh, target);
  moveToFreeName(fresh, target);
  move.done = true;
}

void FolderUpdate::Moves::exchange(const fs::path& fresh, const fs::path& target) {
  Move& move = noted(Move::Kind::exchanged, fresh, target);
  if (const int error = exchangeNames(move); error != 0) throw FileError("replace", target, error);
  move.done = true;
}

bool FolderUpdate::Moves::link(const fs::path& file, const fs::path& name) {
  Move& move = noted(Move::Kind::linked, file, name);
  move.done = ::linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name.c_str(), 0) == 0;
  if (!move.done && errno != EEXIST) throw FileError("keep what is there as", name, errno);
  return move.done;
}

int FolderUpdate::Moves::exchangeNames(const Move& move) noexcept {
  const char* const fresh = move.fresh.c_str();
  const char* const target = move.target.c_str();
  const char* const former = move.former.c_str();
  if (::renameat2(AT_FDCWD, fresh, AT_FDCWD, target, RENAME_EXCHANGE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // Not every file system can; then the former file is missing for a moment.
  if (::rename(target, former) != 0) return errno;
  int error = 0;
  if (::rename(fresh, target) != 0) {
    error = errno;
  } else if (::rename(former, fresh) != 0) {
    error = errno;
    ::rename(target, fresh);
  }
  if (error != 0) ::rename(former, target);
  return error;
}

int FolderUpdate::Moves::undo(const Move& move) noexcept {
  if (!move.done) return 0;
  switch (move.kind) {
    case Move::Kind::moved:
      return ::rename(move.target.c_str(), move.fresh.c_str()) == 0 ? 0 : errno;
    case Move::Kind::exchanged:
      return exchangeNames(move);
    case Move::Kind::linked:
      removeFile(move.target.native());
  }
  return 0;
}

void FolderUpdate::Moves::takeBack() noexcept {
  for (; !moves_.empty(); moves_.pop_back()) {
    const Move& move = moves_.back();
    const int error = undo(move);
    if (error == 0) continue;
    say({"cannot put back ", move.target.native(), ": ", std::strerror(error),
         "; what was there is in ", beside_.path().native()});
    beside_.keep();
  }
}
