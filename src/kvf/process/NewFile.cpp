#include "kvf/process/NewFile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"
#include "kvf/process/FileSync.h"
#include "kvf/process/Interruption.h"

namespace fs = std::filesystem;

namespace {

// After so many bytes a signal is noticed.
constexpr std::size_t pieceBytes = 131072;

}  // namespace

NewFile::NewFile(fs::path file)
    : file_(std::move(file)),
      descriptor_(::open(file_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
                         S_IRUSR | S_IWUSR)),
      isToBeRemoved_(descriptor_.number() >= 0) {
  if (!isToBeRemoved_) fail("make");
}

void NewFile::write(std::string_view bytes) const {
  while (!bytes.empty()) {
    InterruptionWatch::look();
    const ssize_t count =
        ::write(number(), bytes.data(), std::min<std::size_t>(bytes.size(), pieceBytes));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail("write");
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void NewFile::setMode(unsigned mode) const {
  if (::fchmod(number(), mode) != 0) fail("set the mode of");
}

void NewFile::sync() const {
  syncFile(number(), file_);
}

void NewFile::close() {
  const int number = descriptor_.release();
  if (::close(number) != 0 && errno != EINTR) fail("write");
}

void NewFile::takeBack() noexcept {
  if (std::exchange(isToBeRemoved_, false)) removeFile(file_.native());
}

void NewFile::fail(std::string_view action) const {
  throw FileError(action, file_, errno);
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
  const Descriptor from = openToRead(source);
  NewFile made(file);
  readInPieces(from, source, [&](std::string_view piece) { made.write(piece); });
  made.setMode(mode);
  made.close();
  made.keep();
}
