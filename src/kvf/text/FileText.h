#ifndef VELOX_KVF_TEXT_FILETEXT_H
#define VELOX_KVF_TEXT_FILETEXT_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

/// The first bytes of a regular file, all of them for most callers; empty when it is not one or
/// cannot be read, for callers to whom that is the same.
std::string textOfFile(const std::filesystem::path& file,
                       std::uintmax_t maxBytes = std::uintmax_t{64} << 20U);

/// Reads a file of any size piece by piece. Each piece but the first repeats the last `overlap`
/// bytes of the one before, so that nothing of that length is split between two pieces. Ends
/// early when `take` returns false. False when the file cannot be read to its end.
bool forEachPiece(const std::filesystem::path& file, std::size_t overlap,
                  const std::function<bool(std::string_view)>& take);

#endif
