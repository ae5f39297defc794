#include "kvf/text/FileText.h"

#include <algorithm>
#include <fstream>
#include <system_error>

std::string textOfFile(const std::filesystem::path& file, std::uintmax_t maxBytes) {
  std::error_code error;
  // Opening a pipe would wait for its other end.
  if (!std::filesystem::is_regular_file(file, error)) return {};
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  if (error) return {};
  std::string text(std::min(size, maxBytes), '\0');
  std::ifstream stream(file, std::ios::binary);
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return text;
}
