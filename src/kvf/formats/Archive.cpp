#include "kvf/formats/Archive.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#define ZLIB_CONST  // inflate does not change its input
#include <zlib.h>

namespace {

// The record at the end of every archive: signature, ..., bytes of the directory at 12, its offset
// at 16, length of a comment at 20.
constexpr std::string_view endSignature("PK\5\6");
constexpr std::size_t endRecordBytes = 22;
// Archives past 4 GiB or 65,535 entries have a larger record in front of that one, with these two
// at 40 and 48, and between them a locator.
constexpr std::string_view largeSignature("PK\6\6");
constexpr std::string_view locatorSignature("PK\6\7");
constexpr std::size_t largeRecordBytes = 56;
constexpr std::size_t locatorBytes = 20;
constexpr std::size_t maxCommentBytes = 65535;
constexpr std::uint64_t maxDirectoryBytes = std::uint64_t{16} << 20U;
// An entry of the directory, and the header in front of its contents; a name and more follow each.
constexpr std::string_view entrySignature("PK\1\2");
constexpr std::size_t entryBytes = 46;
constexpr std::string_view headerSignature("PK\3\4");
constexpr std::size_t headerBytes = 30;
constexpr unsigned stored = 0;
constexpr unsigned deflated = 8;

std::uint64_t littleEndianAt(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint64_t value = 0;
  while (width-- > 0) value = value << 8U | static_cast<unsigned char>(bytes[at + width]);
  return value;
}

/// Up to so many bytes of the file; how many there were.
std::size_t readAt(std::FILE* file, std::uint64_t offset, char* bytes, std::size_t count) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got =
        ::pread(::fileno(file), bytes + done, count - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

/// Up to `wanted` bytes of the file that end at the offset.
std::string bytesBefore(std::FILE* file, std::uint64_t end, std::size_t wanted) {
  std::string bytes(std::min<std::uint64_t>(wanted, end), '\0');
  bytes.resize(readAt(file, end - bytes.size(), bytes.data(), bytes.size()));
  return bytes;
}

/// The end record; empty when the file has none.
std::string endRecord(std::FILE* file, std::uint64_t fileBytes) {
  std::string tail = bytesBefore(file, fileBytes, endRecordBytes);
  std::size_t at = tail.starts_with(endSignature) ? 0 : std::string::npos;
  if (at == std::string::npos) {
    tail = bytesBefore(file, fileBytes, endRecordBytes + maxCommentBytes);
    at = tail.rfind(endSignature);
  }
  if (at == std::string::npos || tail.size() - at < endRecordBytes) return {};
  return tail.substr(at);
}

/// What the archive claims of its directory.
struct CentralDirectory {
  bool sound = false;
  std::uint64_t bytes = 0;
  std::uint64_t offset = 0;  ///< from the start of the archive
  std::uint64_t end = 0;     ///< in the file
};

/// The second record of a large archive decides.
CentralDirectory directoryOf(std::FILE* file, std::string_view record, std::uint64_t fileBytes) {
  const std::uint64_t end = fileBytes - record.size();
  const std::string large = bytesBefore(file, end, largeRecordBytes + locatorBytes);
  if (large.size() == largeRecordBytes + locatorBytes &&
      large.compare(largeRecordBytes, locatorSignature.size(), locatorSignature) == 0) {
    return {large.starts_with(largeSignature), littleEndianAt(large, 40, 8),
            littleEndianAt(large, 48, 8), end - large.size()};
  }
  return {true, littleEndianAt(record, 12, 4), littleEndianAt(record, 16, 4), end};
}

/// Puts numbers of eight bytes in the place of those that four cannot hold: an entry of a large
/// archive has them in this order in one of its extra fields. False when one is missing.
bool readLargeNumbers(std::string_view extra, std::initializer_list<std::uint64_t*> numbers) {
  constexpr std::uint64_t isElsewhere = 0xffffffff;
  std::string_view large;
  while (extra.size() >= 4) {
    const std::size_t bytes = std::min(littleEndianAt(extra, 2, 2), extra.size() - 4);
    if (littleEndianAt(extra, 0, 2) == 1) large = extra.substr(4, bytes);
    extra.remove_prefix(4 + bytes);
  }
  for (std::uint64_t* number : numbers) {
    if (*number != isElsewhere) continue;
    if (large.size() < 8) return false;
    *number = littleEndianAt(large, 0, 8);
    large.remove_prefix(8);
  }
  return true;
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

/// Unpacks what is written to it.
class Inflater {
 public:
  Inflater() : sound_(::inflateInit2(&stream_, -MAX_WBITS) == Z_OK) {}
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater() { ::inflateEnd(&stream_); }

  /// Appends what the bytes unpack to, as long as the text has at most so many; false when they are
  /// damaged.
  bool write(std::string_view packed, std::string& text, std::size_t maxBytes) {
    std::array<Bytef, 16384> buffer;
    stream_.next_in = reinterpret_cast<const Bytef*>(packed.data());
    stream_.avail_in = static_cast<uInt>(packed.size());
    while (sound_ && !ended_ && text.size() <= maxBytes) {
      stream_.next_out = buffer.data();
      stream_.avail_out = buffer.size();
      const int result = ::inflate(&stream_, Z_NO_FLUSH);
      text.append(reinterpret_cast<const char*>(buffer.data()), buffer.size() - stream_.avail_out);
      ended_ = result == Z_STREAM_END;
      // Without progress it needs more input.
      if (result == Z_BUF_ERROR) break;
      sound_ = ended_ || result == Z_OK;
    }
    return sound_;
  }

  [[nodiscard]] bool ended() const { return ended_; }

 private:
  z_stream stream_ = {};
  bool sound_;
  bool ended_ = false;
};

bool hasChecksum(const std::string& text, std::uint32_t checksum) {
  return ::crc32_z(0, reinterpret_cast<const Bytef*>(text.data()), text.size()) == checksum;
}

}  // namespace

Archive::Archive(const std::filesystem::path& file) {
  state_ = open(file);
}

ArchiveState Archive::open(const std::filesystem::path& file) {
  OpenedFile opened = openFile(file);
  if (opened.state != ArchiveState::readable) return opened.state;
  const std::string record = endRecord(opened.file.get(), opened.bytes);
  if (record.empty()) return ArchiveState::notAnArchive;
  const CentralDirectory directory = directoryOf(opened.file.get(), record, opened.bytes);
  if (directory.bytes > maxDirectoryBytes) return ArchiveState::tooLarge;
  const std::uint64_t before = directory.end - std::min(directory.bytes, directory.end);
  if (!directory.sound || directory.offset > before) return ArchiveState::notAnArchive;

  start_ = before - directory.offset;
  directory_.resize(directory.bytes);
  const std::size_t got = readAt(opened.file.get(), before, directory_.data(), directory_.size());
  if (got < directory_.size() || !parseDirectory()) {
    byName_.clear();
    entries_.clear();
    return ArchiveState::notAnArchive;
  }
  file_ = std::move(opened.file);
  return ArchiveState::readable;
}

bool Archive::parseDirectory() {
  std::string_view rest(directory_.data(), directory_.size());
  while (!rest.empty()) {
    if (rest.size() < entryBytes || !rest.starts_with(entrySignature)) return false;
    const std::size_t nameBytes = littleEndianAt(rest, 28, 2);
    const std::size_t extraBytes = littleEndianAt(rest, 30, 2);
    const std::size_t bytes = entryBytes + nameBytes + extraBytes + littleEndianAt(rest, 32, 2);
    if (rest.size() < bytes) return false;
    Entry entry = {.name = rest.substr(entryBytes, nameBytes),
                   .encrypted = (littleEndianAt(rest, 8, 2) & 1U) != 0,
                   .method = static_cast<unsigned>(littleEndianAt(rest, 10, 2)),
                   .checksum = static_cast<std::uint32_t>(littleEndianAt(rest, 16, 4)),
                   .packedBytes = littleEndianAt(rest, 20, 4),
                   .bytes = littleEndianAt(rest, 24, 4),
                   .offset = littleEndianAt(rest, 42, 4)};
    const std::string_view extra = rest.substr(entryBytes + nameBytes, extraBytes);
    if (!readLargeNumbers(extra, {&entry.bytes, &entry.packedBytes, &entry.offset})) return false;
    byName_.insert_or_assign(entry.name, entries_.size());
    entries_.push_back(entry);
    rest.remove_prefix(bytes);
  }
  return true;
}

std::string_view Archive::nameAt(std::size_t index) const {
  return index < entries_.size() ? entries_[index].name : std::string_view();
}

std::optional<std::uint64_t> Archive::contentsOf(const Entry& entry) const {
  std::array<char, headerBytes> header;
  const std::uint64_t at = start_ + entry.offset;
  if (readAt(file_.get(), at, header.data(), header.size()) < header.size()) return std::nullopt;
  const std::string_view bytes(header.data(), header.size());
  if (!bytes.starts_with(headerSignature)) return std::nullopt;
  return at + headerBytes + littleEndianAt(bytes, 26, 2) + littleEndianAt(bytes, 28, 2);
}

std::optional<std::string> Archive::read(const std::string& name, std::size_t maxBytes) const {
  const auto found = byName_.find(name);
  if (found == byName_.end()) return std::nullopt;
  const Entry& entry = entries_[found->second];
  if (entry.bytes > maxBytes || entry.encrypted) return std::nullopt;
  if (entry.method != stored && entry.method != deflated) return std::nullopt;
  std::optional<std::uint64_t> at = contentsOf(entry);
  if (!at) return std::nullopt;

  // Memory is taken as bytes come: the sizes are only what the archive claims.
  std::string text;
  Inflater inflater;
  std::array<char, 16384> buffer;
  std::uint64_t left = entry.packedBytes;
  while (left > 0 && text.size() <= entry.bytes && !inflater.ended()) {
    const std::size_t got =
        readAt(file_.get(), *at, buffer.data(), std::min<std::uint64_t>(left, buffer.size()));
    if (got == 0) return std::nullopt;
    *at += got;
    left -= got;
    if (entry.method == stored) {
      text.append(buffer.data(), got);
    } else if (!inflater.write({buffer.data(), got}, text, entry.bytes)) {
      return std::nullopt;
    }
  }
  const bool whole = entry.method == stored || inflater.ended();
  if (!whole || text.size() != entry.bytes || !hasChecksum(text, entry.checksum)) {
    return std::nullopt;
  }
  return text;
}
