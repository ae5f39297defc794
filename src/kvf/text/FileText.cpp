#include "kvf/text/FileText.h"

#include <algorithm>
#include <fstream>
#include <system_error>

namespace {
constexpr std::size_t pieceBytes = std::size_t{1} << 20U;
}  // namespace

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

bool forEachPiece(const std::filesystem::path& file, std::size_t overlap,
                  const std::function<bool(std::string_view)>& take) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) return false;
  std::ifstream stream(file, std::ios::binary);
  std::string piece(overlap + pieceBytes, '\0');
  for (std::size_t kept = 0; stream;) {
    stream.read(piece.data() + kept, static_cast<std::streamsize>(piece.size() - kept));
    const std::size_t length = kept + static_cast<std::size_t>(stream.gcount());
    if (!take(std::string_view(piece).substr(0, length))) return true;
    kept = std::min(overlap, length);
    std::copy_n(piece.end() - static_cast<std::ptrdiff_t>(kept), kept, piece.begin());
  }
  return stream.eof();
}
