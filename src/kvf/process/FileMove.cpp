#include "kvf/process/FileMove.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/process/Descriptor.h"
#include "kvf/process/FileAttributes.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"
#include "kvf/process/FileSync.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/NewFile.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

void replaceByCopy(const fs::path& from, const fs::path& target) {
  const Descriptor fresh = openToRead(from);
  const Descriptor old = openToRead(target);
  const fs::path beside = nameBeside(target);
  NewFile made(beside);
  readInPieces(fresh, from, [&](std::string_view piece) { made.write(piece); });
  takeAttributes(made.number(), old.number(), target);
  made.sync();
  made.close();
  if (::rename(beside.c_str(), target.c_str()) != 0) throw FileError("replace", target, errno);
  made.keep();
}

}  // namespace

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
  {
    const Descriptor made = openToRead(from);
    if (::access(target.c_str(), F_OK) == 0) {
      takeAttributes(made.number(), openToRead(target).number(), target);
    } else if (::fchmod(made.number(), mode) != 0) {
      throw FileError("set the mode of", from, errno);
    }
    syncFile(made.number(), from);
  }
  InterruptionWatch::look();
  if (::rename(from.c_str(), target.c_str()) == 0) return;
  if (errno != EXDEV || target == to) throw FileError("replace", target, errno);
  // A link may lead into another file system.
  replaceByCopy(from, target);
}
