#include "config/PropertiesText.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>

#include "platform/Stream.h"

namespace {

constexpr std::size_t firstRead = 1024;

/// A buffer of that size takes the whole file, as far as can be told before it is read.
std::size_t roomFor(std::FILE* file) {
  struct stat status = {};
  if (::fstat(::fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return firstRead;
  // One more than the file has: only then a short read shows its end.
  return std::clamp(static_cast<std::size_t>(status.st_size) + 1, firstRead, propertiesSizeLimit);
}

}  // namespace

PropertiesText readPropertiesText(const char* fileName) {
  const Stream file = openStream(fileName, "rb", PipeOpening::waits);
  if (!file) return {};
  return readPropertiesText(file.get());
}

PropertiesText readPropertiesText(std::FILE* file) {
  std::string text(roomFor(file), '\0');
  std::size_t length = 0;
  for (;;) {
    length += std::fread(text.data() + length, 1, text.size() - length, file);
    if (length < text.size()) break;
    if (text.size() == propertiesSizeLimit) return {PropertiesText::State::unread, {}};
    text.resize(propertiesSizeLimit);
  }
  if (std::ferror(file) != 0) return {PropertiesText::State::unread, {}};
  text.resize(length);
  // Nested includes keep the texts of all levels.
  text.shrink_to_fit();
  return {PropertiesText::State::read, std::move(text)};
}
