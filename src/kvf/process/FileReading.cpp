#include "kvf/process/FileReading.h"

#include <cerrno>
#include <limits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/process/FileError.h"
#include "kvf/process/Interruption.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t pieceBytes = 131072;
constexpr std::size_t maxTextBytes = std::size_t{64} << 20U;

}  // namespace

Descriptor openToRead(const fs::path& file) {
  struct stat status = {};
  Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (descriptor.number() < 0 || ::fstat(descriptor.number(), &status) != 0)
    throw FileError("read", file, errno);
  if (!S_ISREG(status.st_mode)) throw FileError(concat({file.native(), " is no regular file"}));
  return descriptor;
}

void readInPieces(const Descriptor& descriptor, const fs::path& file,
                  const std::function<void(std::string_view)>& take) {
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

std::string readWhole(const Descriptor& descriptor, const fs::path& file) {
  std::string text;
  readInPieces(descriptor, file, [&](std::string_view piece) {
    if (text.size() > maxTextBytes) throw FileError("read", file, EFBIG);
    text += piece;
  });
  return text;
}

std::string readWhole(const fs::path& file) {
  return readWhole(openToRead(file), file);
}

void readInPieces(const fs::path& file, const std::function<void(std::string_view)>& take) {
  readInPieces(openToRead(file), file, take);
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
