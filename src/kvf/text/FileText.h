#ifndef VELOX_KVF_TEXT_FILETEXT_H
#define VELOX_KVF_TEXT_FILETEXT_H

#include <cstdint>
#include <filesystem>
#include <string>

/// The first bytes of a regular file, all of them for most callers; empty when it is none or cannot
/// be read.
std::string textOfFile(const std::filesystem::path& file,
                       std::uintmax_t maxBytes = std::uintmax_t{1} << 30U);

#endif
