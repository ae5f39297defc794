#include "kvf/process/Files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <linux/limits.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "kvf/process/Interruption.h"
#include "kvf/process/Unfinished.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t pieceBytes = 131072;
constexpr std::size_t maxTextBytes = std::size_t{64} << 20U;

void syncDescriptor(int descriptor, const fs::path& file) {
  // Not every file system can.
  if (::fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS)
    throw FileError("write", file, errno);
}

/// A new file that is removed again unless it was kept.
class NewFile final : private Unfinished {
 public:
  explicit NewFile(fs::path file)
      : file_(std::move(file)),
        descriptor_(::open(file_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
                           S_IRUSR | S_IWUSR)),
        isToBeRemoved_(descriptor_.number() >= 0) {
    if (!isToBeRemoved_) fail("make");
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() override { takeBack(); }

  [[nodiscard]] int number() const { return descriptor_.number(); }
  void keep() { isToBeRemoved_ = false; }

  void write(std::string_view bytes) const {
    while (!bytes.empty()) {
      InterruptionWatch::look();
      const ssize_t count =
          ::write(number(), bytes.data(), std::min<std::size_t>(bytes.size(), pieceBytes));
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) fail("write");
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  void setMode(unsigned mode) const {
    if (::fchmod(number(), mode) != 0) fail("set the mode of");
  }

  void sync() const { syncDescriptor(number(), file_); }

  void close() {
    const int number = descriptor_.release();
    if (::close(number) != 0 && errno != EINTR) fail("write");
  }

  [[noreturn]] void fail(std::string_view action) const { throw FileError(action, file_, errno); }

 private:
  void takeBack() noexcept override {
    if (std::exchange(isToBeRemoved_, false)) removeFile(file_.native());
  }

  fs::path file_;
  Descriptor descriptor_;
  bool isToBeRemoved_;
};

Descriptor openToRead(const fs::path& file, struct stat& status) {
  Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (descriptor.number() < 0 || ::fstat(descriptor.number(), &status) != 0)
    throw FileError("read", file, errno);
  if (!S_ISREG(status.st_mode)) throw FileError(concat({file.native(), " is no regular file"}));
  return descriptor;
}

/// Reads the file piece by piece.
template <class Take>
void readPieces(const Descriptor& descriptor, const fs::path& file, Take&& take) {
  std::vector<char> piece(pieceBytes);
  for (;;) {
    InterruptionWatch::look();
    const ssize_t count = ::read(descriptor.number(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw FileError("read", file, errno);
    if (count == 0) return;
    take(std::string_view(piece.data(), static_cast<std::size_t>(count)));
  }
}

std::string wholeText(const Descriptor& descriptor, const fs::path& file) {
  std::string text;
  readPieces(descriptor, file, [&](std::string_view piece) {
    if (text.size() > maxTextBytes) throw FileError("read", file, EFBIG);
    text += piece;
  });
  return text;
}

/// The system sets labels, and may refuse; access lists and attributes of users must not be lost.
bool mayBeLost(std::string_view attribute) {
  return attribute.starts_with("security.") || attribute.starts_with("trusted.");
}

void copyExtendedAttributes(int from, int to, const fs::path& file) {
  // What the folder gives to new files.
  ::fremovexattr(to, "system.posix_acl_access");
  std::string names;
  std::vector<char> value(XATTR_SIZE_MAX);
  const ssize_t room = ::flistxattr(from, nullptr, 0);
  if (room <= 0) return;
  names.resize(static_cast<std::size_t>(room));
  const ssize_t length = ::flistxattr(from, names.data(), names.size());
  if (length < 0) throw FileError("read the attributes of", file, errno);
  names.resize(static_cast<std::size_t>(length));
  for (std::size_t at = 0; at < names.size();) {
    const char* const name = names.c_str() + at;
    at += std::string_view(name).size() + 1;
    const ssize_t bytes = ::fgetxattr(from, name, value.data(), value.size());
    const bool copied =
        bytes >= 0 && ::fsetxattr(to, name, value.data(), static_cast<std::size_t>(bytes), 0) == 0;
    if (!copied && !mayBeLost(name)) throw FileError("keep the attributes of", file, errno);
  }
}

void takeAttributes(int descriptor, int replaced, const fs::path& file) {
  struct stat own = {};
  struct stat status = {};
  if (::fstat(descriptor, &own) != 0 || ::fstat(replaced, &status) != 0)
    throw FileError("look at", file, errno);
  const bool isSame = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
  if (!isSame && ::fchown(descriptor, status.st_uid, status.st_gid) != 0)
    throw FileError("keep the owner of", file, errno);
  copyExtendedAttributes(replaced, descriptor, file);
  // Last: a change of the owner clears bits.
  if (::fchmod(descriptor, status.st_mode & 07777U) != 0)
    throw FileError("keep the mode of", file, errno);
}

/// A name beside the file that nobody can predict.
fs::path nameBeside(const fs::path& file) {
  std::array<unsigned char, 8> random;
  if (::getentropy(random.data(), random.size()) != 0)
    throw FileError("find a name beside", file, errno);
  constexpr std::string_view digits = "0123456789abcdef";
  std::string name = concat({".", file.filename().native(), "."});
  for (const unsigned char byte : random) {
    name += digits[byte >> 4U];
    name += digits[byte & 0xFU];
  }
  return file.parent_path() / name;
}

fs::path realFile(const fs::path& file) {
  std::error_code error;
  fs::path real = fs::canonical(file, error);
  if (error) throw FileError("read", file, error.value());
  return real;
}

void replaceByCopy(const fs::path& from, const fs::path& target) {
  struct stat status = {};
  const Descriptor fresh = openToRead(from, status);
  const Descriptor old = openToRead(target, status);
  const fs::path beside = nameBeside(target);
  NewFile made(beside);
  readPieces(fresh, from, [&](std::string_view piece) { made.write(piece); });
  takeAttributes(made.number(), old.number(), target);
  made.sync();
  made.close();
  if (::rename(beside.c_str(), target.c_str()) != 0) throw FileError("replace", target, errno);
  made.keep();
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

std::string readWhole(const fs::path& file) {
  struct stat status = {};
  return wholeText(openToRead(file, status), file);
}

void readInPieces(const fs::path& file, const std::function<void(std::string_view)>& take) {
  struct stat status = {};
  readPieces(openToRead(file, status), file, take);
}

RandomAccessFile::RandomAccessFile(fs::path file)
    : file_(std::move(file)), descriptor_(::open(file_.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (descriptor_.number() < 0) throw FileError("read", file_, errno);
}

std::string RandomAccessFile::at(std::uint64_t offset, std::size_t count) const {
  if (offset > std::numeric_limits<off_t>::max() - count) return {};
  std::string bytes(count, '\0');
  std::size_t done = 0;
  while (done < count) {
    const ssize_t taken = ::pread(descriptor_.number(), bytes.data() + done, count - done,
                                  static_cast<off_t>(offset + done));
    if (taken < 0 && errno == EINTR) continue;
    if (taken < 0) throw FileError("read", file_, errno);
    if (taken == 0) break;
    done += static_cast<std::size_t>(taken);
  }
  bytes.resize(done);
  return bytes;
}

std::vector<std::string> namesIn(const fs::path& folder) {
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(::opendir(folder.c_str()));
  if (!stream) throw FileError("read", folder, errno);
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (entry == nullptr && errno != 0) throw FileError("read", folder, errno);
    if (entry == nullptr) return names;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
}

FileStamp stampOf(const fs::path& file) {
  struct stat status = {};
  if (::stat(file.c_str(), &status) == 0)
    return {true, S_ISDIR(status.st_mode), status.st_size, status.st_mtim.tv_sec};
  constexpr int nothing[] = {ENOENT, ENOTDIR, EACCES, ELOOP, ENAMETOOLONG};
  const bool isNothing =
      std::find(std::begin(nothing), std::end(nothing), errno) != std::end(nothing);
  return {.error = isNothing ? 0 : errno};
}

unsigned usualFileMode() {
  // It can only be read by a change.
  const mode_t umask = ::umask(0);
  ::umask(umask);
  return 0666U & ~umask;
}

void writeNewFile(const fs::path& file, std::string_view text, unsigned mode) {
  NewFile made(file);
  made.write(text);
  made.setMode(mode);
  made.close();
  made.keep();
}

void copyToNewFile(const fs::path& source, const fs::path& file, unsigned mode) {
  struct stat status = {};
  const Descriptor from = openToRead(source, status);
  NewFile made(file);
  readPieces(from, source, [&](std::string_view piece) { made.write(piece); });
  made.setMode(mode);
  made.close();
  made.keep();
}

void takeAttributes(const fs::path& file, const fs::path& replaced) {
  struct stat status = {};
  const Descriptor from = openToRead(replaced, status);
  const Descriptor to = openToRead(file, status);
  takeAttributes(to.number(), from.number(), replaced);
}

fs::path endOfLinks(const fs::path& file) {
  struct stat link = {};
  if (::lstat(file.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) return file;
  struct stat target = {};
  fs::path real = realFile(file);
  if (::stat(real.c_str(), &target) != 0) throw FileError("read", file, errno);
  if (link.st_uid != ::geteuid() && link.st_uid != target.st_uid)
    throw FileError(concat({file.native(), " is another user's link to ", real.native(),
                            ", which belongs to neither: replace that one"}));
  return real;
}

void moveToFreeName(const fs::path& from, const fs::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return;
  // Not every file system knows the flag.
  const bool isKnown = errno != EINVAL && errno != ENOSYS;
  if (isKnown) throw FileError("make", to, errno);
  struct stat status = {};
  if (::lstat(to.c_str(), &status) == 0) throw FileError("make", to, EEXIST);
  if (::rename(from.c_str(), to.c_str()) != 0) throw FileError("make", to, errno);
}

void moveInto(const fs::path& from, const fs::path& to, unsigned mode) {
  const fs::path target = endOfLinks(to);
  struct stat status = {};
  {
    const Descriptor made = openToRead(from, status);
    if (::access(target.c_str(), F_OK) == 0) {
      takeAttributes(made.number(), openToRead(target, status).number(), target);
    } else if (::fchmod(made.number(), mode) != 0) {
      throw FileError("set the mode of", from, errno);
    }
    syncDescriptor(made.number(), from);
  }
  InterruptionWatch::look();
  if (::rename(from.c_str(), target.c_str()) == 0) return;
  if (errno != EXDEV || target == to) throw FileError("replace", target, errno);
  // A link may lead into another file system.
  replaceByCopy(from, target);
}

void syncFile(const fs::path& file) {
  struct stat status = {};
  syncDescriptor(openToRead(file, status).number(), file);
}

void syncFolder(const fs::path& folder) noexcept {
  const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  static_cast<void>(::fsync(opened.number()) == 0);
}

void syncFileSystem(const fs::path& inside) {
  const Descriptor folder(::open(inside.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.number() < 0 || ::syncfs(folder.number()) != 0)
    throw FileError("write", inside, errno);
}

FolderLock::FolderLock(const fs::path& folder)
    : folder_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (folder_.number() < 0) throw FileError("lock", folder, errno);
  constexpr timespec pause = {0, 50'000'000};
  // A blocking wait would not end with a signal.
  while (::flock(folder_.number(), LOCK_EX | LOCK_NB) != 0) {
    // Not every file system can.
    if (errno == ENOLCK || errno == EOPNOTSUPP || errno == EINVAL) return;
    if (errno != EWOULDBLOCK && errno != EINTR) throw FileError("lock", folder, errno);
    InterruptionWatch::look();
    ::nanosleep(&pause, nullptr);
  }
}

FileReplacement::FileReplacement(const fs::path& file) : file_(realFile(file)), state_(stateNow()) {
  struct stat status = {};
  const Descriptor descriptor = openToRead(file_, status);
  if (status.st_nlink > 1) {
    throw FileError(concat({file_.native(), " has ", std::to_string(status.st_nlink),
                            " names (hard links), which would become different files: change it "
                            "by hand"}));
  }
  if (const uid_t user = ::geteuid(); user != 0 && user != status.st_uid)
    throw FileError(concat({file_.native(), " belongs to another user: change it as that user"}));
  if (::access(file_.c_str(), W_OK) != 0) throw FileError("write", file_, errno);
  if (::access(file_.parent_path().c_str(), W_OK) != 0)
    throw FileError("write", file_.parent_path(), errno);
  text_ = wholeText(descriptor, file_);
}

void FileReplacement::replace(std::string_view text) const {
  struct stat status = {};
  const Descriptor old = openToRead(file_, status);
  const fs::path beside = nameBeside(file_);
  NewFile made(beside);
  takeAttributes(made.number(), old.number(), file_);
  made.write(text);
  made.sync();
  made.close();
  if (stateNow() != state_)
    throw FileError(concat({file_.native(), " has changed meanwhile: it is left as it is"}));
  if (::rename(beside.c_str(), file_.c_str()) != 0) throw FileError("replace", file_, errno);
  made.keep();
  syncFolder(file_.parent_path());
}

FileReplacement::State FileReplacement::stateNow() const {
  struct stat status = {};
  if (::stat(file_.c_str(), &status) != 0) throw FileError("read", file_, errno);
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}
