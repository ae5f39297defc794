#include "kvf/formats/Archive.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/Stream.h"

namespace {

// The record at the end of every archive: signature, ..., entries at 10, bytes of the directory at
// 12, its offset at 16, length of a comment at 20.
constexpr std::string_view endSignature("PK\5\6");
constexpr std::size_t endRecordBytes = 22;
// Archives past 4 GiB or 65,535 entries have a larger record and its locator in front of that one.
constexpr std::string_view locatorSignature("PK\6\7");
constexpr std::size_t largeRecordBytes = 56;
constexpr std::size_t locatorBytes = 20;
constexpr std::size_t maxCommentBytes = 65535;
constexpr std::uint64_t maxDirectoryBytes = std::uint64_t{16} << 20U;

std::uint64_t littleEndianAt(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint64_t value = 0;
  while (width-- > 0) value = value << 8U | static_cast<unsigned char>(bytes[at + width]);
  return value;
}

/// Up to `wanted` bytes of the file that end at the offset.
std::string bytesBefore(int descriptor, std::uint64_t end, std::size_t wanted) {
  std::string bytes(std::min<std::uint64_t>(wanted, end), '\0');
  const ssize_t got =
      ::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(end - bytes.size()));
  bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
  return bytes;
}

/// The end record; empty when the file has none.
std::string endRecord(int descriptor, std::uint64_t fileBytes) {
  std::string tail = bytesBefore(descriptor, fileBytes, endRecordBytes);
  std::size_t at = tail.starts_with(endSignature) ? 0 : std::string::npos;
  if (at == std::string::npos) {
    tail = bytesBefore(descriptor, fileBytes, endRecordBytes + maxCommentBytes);
    at = tail.rfind(endSignature);
  }
  if (at == std::string::npos || tail.size() - at < endRecordBytes) return {};
  return tail.substr(at);
}

struct Directory {
  std::uint64_t bytes = 0;
  std::uint64_t start = 0;  ///< of the archive: past 0 for one with a program in front of it
};

/// What the archive claims of its directory; the second record of a large archive has the last
/// word.
Directory directoryOf(int descriptor, std::string_view record, std::uint64_t fileBytes) {
  const std::uint64_t recordOffset = fileBytes - record.size();
  const std::string large = bytesBefore(descriptor, recordOffset, largeRecordBytes + locatorBytes);
  if (large.size() == largeRecordBytes + locatorBytes &&
      large.compare(largeRecordBytes, locatorSignature.size(), locatorSignature) == 0) {
    return {littleEndianAt(large, 40, 8)};
  }
  const std::uint64_t bytes = littleEndianAt(record, 12, 4);
  const std::uint64_t end = bytes + littleEndianAt(record, 16, 4);
  return {bytes, end < recordOffset ? recordOffset - end : 0};
}

ArchiveState stateOf(int error) {
  return error == ENOENT || error == ENOTDIR ? ArchiveState::missing : ArchiveState::unreadable;
}

struct OpenedFile {
  ArchiveState state;
  Stream file;
  std::uint64_t bytes = 0;
};

OpenedFile openFile(const std::filesystem::path& path) {
  // Not blocking: a pipe would wait for its other end.
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return {stateOf(errno), nullptr};
  Stream file(::fdopen(descriptor, "rb"));
  if (!file) {
    ::close(descriptor);
    return {ArchiveState::unreadable, nullptr};
  }
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return {ArchiveState::unreadable, nullptr};
  if (!S_ISREG(status.st_mode)) return {ArchiveState::notAFile, nullptr};
  return {ArchiveState::readable, std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

/// The archive in the file, which it then owns; null when its directory contradicts itself.
zip_t* openZip(Stream file, std::uint64_t start) {
  zip_source_t* source = zip_source_filep_create(file.get(), start, -1, nullptr);
  if (source == nullptr) return nullptr;
  static_cast<void>(file.release());
  zip_t* zip = zip_open_from_source(source, ZIP_RDONLY, nullptr);
  if (zip == nullptr) zip_source_free(source);
  return zip;
}

}  // namespace

Archive::Archive(const std::filesystem::path& file) {
  OpenedFile opened = openFile(file);
  state_ = opened.state;
  if (state_ != ArchiveState::readable) return;

  const int descriptor = ::fileno(opened.file.get());
  const std::string record = endRecord(descriptor, opened.bytes);
  state_ = ArchiveState::notAnArchive;
  if (record.empty()) return;
  const Directory directory = directoryOf(descriptor, record, opened.bytes);
  if (directory.bytes > maxDirectoryBytes) {
    state_ = ArchiveState::tooLarge;
    return;
  }
  zip_.reset(openZip(std::move(opened.file), directory.start));
  if (zip_) state_ = ArchiveState::readable;
}

std::uint64_t Archive::size() const {
  return zip_ ? static_cast<std::uint64_t>(zip_get_num_entries(zip_.get(), 0)) : 0;
}

std::string_view Archive::nameAt(std::uint64_t index) const {
  const char* name = zip_ ? zip_get_name(zip_.get(), index, ZIP_FL_ENC_RAW) : nullptr;
  return name == nullptr ? std::string_view() : name;
}

bool Archive::contains(const std::string& name) const {
  return zip_ && zip_name_locate(zip_.get(), name.c_str(), ZIP_FL_ENC_RAW) >= 0;
}

std::optional<std::string> Archive::read(const std::string& name, std::size_t maxBytes) const {
  struct Close {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
  };
  if (!zip_) return std::nullopt;
  zip_stat_t status;
  if (zip_stat(zip_.get(), name.c_str(), ZIP_FL_ENC_RAW, &status) != 0) return std::nullopt;
  if ((status.valid & ZIP_STAT_SIZE) == 0 || status.size > maxBytes) return std::nullopt;

  const std::unique_ptr<zip_file_t, Close> file(zip_fopen_index(zip_.get(), status.index, 0));
  if (!file) return std::nullopt;
  // Memory is taken as bytes come: the size is what the archive claims.
  std::string bytes;
  std::array<char, 16384> buffer;
  while (bytes.size() <= status.size) {
    const zip_int64_t got = zip_fread(file.get(), buffer.data(), buffer.size());
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    bytes.append(buffer.data(), static_cast<std::size_t>(got));
  }
  if (bytes.size() != status.size) return std::nullopt;
  return bytes;
}
