#include "kvf/formats/ArchiveWriter.h"

#include <limits>

#include <zlib.h>

namespace {

constexpr std::uint16_t version = 20;
constexpr std::uint16_t namesAreUtf8 = 0x0800;
// 1 January 1980, midnight: the same files always make the same archive.
constexpr std::uint16_t date = 0x21;
constexpr std::size_t headerBytes = 128;

/// Little-endian on every machine.
template <class Number>
void put(std::string& text, Number number) {
  for (std::size_t i = 0; i < sizeof number; ++i)
    text += static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * i) & 0xFFU);
}

}  // namespace

bool ArchiveWriter::add(std::string_view name, std::string_view content) {
  const std::size_t more = content.size() + 2 * name.size() + headerBytes;
  if (entries_ == std::numeric_limits<std::uint16_t>::max() || name.size() > 0xFFFF ||
      text_.size() + directory_.size() + more > std::numeric_limits<std::uint32_t>::max())
    return false;
  const auto offset = static_cast<std::uint32_t>(text_.size());
  const auto checksum = static_cast<std::uint32_t>(::crc32_z(
      ::crc32(0, nullptr, 0), reinterpret_cast<const Bytef*>(content.data()), content.size()));
  std::string common;
  put(common, version);
  put(common, namesAreUtf8);
  put(common, std::uint16_t{0});  // stored
  put(common, std::uint16_t{0});  // time
  put(common, date);
  put(common, checksum);
  put(common, static_cast<std::uint32_t>(content.size()));
  put(common, static_cast<std::uint32_t>(content.size()));
  put(common, static_cast<std::uint16_t>(name.size()));
  put(common, std::uint16_t{0});  // extra field
  text_.append("PK\3\4").append(common).append(name).append(content);
  directory_.append("PK\1\2");
  put(directory_, version);
  directory_.append(common);
  put(directory_, std::uint16_t{0});  // comment
  put(directory_, std::uint16_t{0});  // disk
  put(directory_, std::uint16_t{0});  // internal attributes
  put(directory_, std::uint32_t{0});  // external ones
  put(directory_, offset);
  directory_.append(name);
  ++entries_;
  return true;
}

std::string ArchiveWriter::finish() && {
  const auto offset = static_cast<std::uint32_t>(text_.size());
  text_ += directory_;
  text_.append("PK\5\6");
  put(text_, std::uint32_t{0});  // disks
  put(text_, entries_);
  put(text_, entries_);
  put(text_, static_cast<std::uint32_t>(directory_.size()));
  put(text_, offset);
  put(text_, std::uint16_t{0});  // comment
  return std::move(text_);
}
