#include "kvf/process/FileAttributes.h"

#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"

namespace fs = std::filesystem;

namespace {

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

}  // namespace

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

void takeAttributes(const fs::path& file, const fs::path& replaced) {
  const Descriptor from = openToRead(replaced);
  const Descriptor to = openToRead(file);
  takeAttributes(to.number(), from.number(), replaced);
}
