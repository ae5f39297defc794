#include "kvf/package/FolderUpdate.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/process/Files.h"
#include "kvf/process/Interruption.h"
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

/// Exchanges two names; where the file system cannot, the former file is missing for a moment.
void exchange(const fs::path& fresh, const fs::path& target) {
  if (::renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) return;
  if (errno != EINVAL && errno != ENOSYS) throw FileError("replace", target, errno);
  const fs::path former = fresh.string() + ".former";
  if (::rename(target.c_str(), former.c_str()) != 0) throw FileError("replace", target, errno);
  if (::rename(fresh.c_str(), target.c_str()) != 0) {
    const int error = errno;
    ::rename(former.c_str(), target.c_str());
    throw FileError("replace", target, error);
  }
  if (::rename(former.c_str(), fresh.c_str()) != 0) throw FileError("move", former, errno);
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

FolderUpdate::FolderUpdate(const fs::path& folder) {
  std::error_code error;
  const fs::path absolute = fs::weakly_canonical(fs::absolute(folder), error);
  if (error) throw FileError("make", folder, error.value());
  folder_ = absolute.has_filename() ? absolute : absolute.parent_path();
  try {
    // In an existing folder: the one around it may be on another file system, or not be writable.
    if (typeOf(folder_) != fs::file_type::not_found) {
      beside_.emplace(folder_, ".kvf-");
    } else {
      makeFolder(folder_.parent_path());
      const std::string name = folder_.filename().native();
      beside_.emplace(folder_.parent_path(), concat({".", name.substr(0, 200), ".kvf-"}));
    }
    beside_->holdFilesOfUser();
    makeFolder(parts());
  } catch (...) {
    undo();
    throw;
  }
}

FolderUpdate::~FolderUpdate() {
  undo();
}

void FolderUpdate::makeFolder(const fs::path& folder) {
  if (typeOf(folder) != fs::file_type::not_found) {
    if (!fs::is_directory(folder)) throw FileError("make", folder, ENOTDIR);
    return;
  }
  makeFolder(folder.parent_path());
  madeFolders_.push_back(folder);
  if (::mkdir(folder.c_str(), folderMode) != 0) {
    const int error = errno;
    madeFolders_.pop_back();
    throw FileError("make", folder, error);
  }
  if (::chmod(folder.c_str(), folderMode) != 0) throw FileError("set the mode of", folder, errno);
}

fs::path FolderUpdate::prepared(const fs::path& part) {
  fs::path file = parts() / part;
  makeFolder(file.parent_path());
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
  moves_.clear();
  madeFolders_.clear();
  return std::move(kept_);
}

void FolderUpdate::place(const fs::path& part) {
  const fs::path fresh = parts() / part;
  const fs::path target = folder_ / part;
  makeFolder(target.parent_path());
  const fs::file_type former = typeOf(target);
  if (former == fs::file_type::not_found) {
    moves_.push_back({fresh, target});
    moveToFreeName(fresh, target);
    moves_.back().done = Move::Kind::moved;
    return;
  }
  const fs::file_type type = typeOf(fresh);
  if (former == fs::file_type::directory && type != former)
    throw FileError(concat({target.native(), " is a folder"}));
  const bool isFile = former == fs::file_type::regular && type == former;
  const bool isEdited = texts_.contains(part) && !(isFile && haveSameBytes(target, fresh));
  if (isFile) takeAttributes(fresh, target);
  if (former != type || isEdited) keepFormer(target);
  moves_.push_back({fresh, target});
  exchange(fresh, target);
  moves_.back().done = Move::Kind::exchanged;
}

void FolderUpdate::keepFormer(const fs::path& target) {
  // A second name; the replacement takes the first one in one step.
  for (int number = 1;; ++number) {
    const fs::path name =
        concat({target.native(), ".orig", number == 1 ? "" : "." + std::to_string(number)});
    kept_.push_back(name);
    moves_.push_back({{}, name});
    if (::linkat(AT_FDCWD, target.c_str(), AT_FDCWD, name.c_str(), 0) == 0) break;
    if (errno != EEXIST) throw FileError("keep what is there as", name, errno);
    kept_.pop_back();
    moves_.pop_back();
  }
  moves_.back().done = Move::Kind::linked;
}

void FolderUpdate::takeBack(const Move& move) {
  switch (move.done) {
    case Move::Kind::none:
      break;
    case Move::Kind::moved:
      if (::rename(move.target.c_str(), move.fresh.c_str()) != 0)
        throw FileError("move", move.target, errno);
      break;
    case Move::Kind::exchanged:
      exchange(move.fresh, move.target);
      break;
    case Move::Kind::linked:
      if (::unlink(move.target.c_str()) != 0) throw FileError("remove", move.target, errno);
  }
}

void FolderUpdate::undo() noexcept {
  for (; !moves_.empty(); moves_.pop_back()) {
    try {
      takeBack(moves_.back());
    } catch (const std::exception& error) {
      std::fprintf(stderr, "kvf: %s; what could not be put back is in %s\n", error.what(),
                   beside_->path().c_str());
      beside_->keep();
    }
  }
  beside_.reset();
  for (; !madeFolders_.empty(); madeFolders_.pop_back()) ::rmdir(madeFolders_.back().c_str());
}
