#ifndef VELOX_KVF_PROCESS_FILEERROR_H
#define VELOX_KVF_PROCESS_FILEERROR_H

#include <filesystem>
#include <stdexcept>
#include <string_view>

/// Why something could not be done to a file; the text is a sentence for the user.
struct FileError : std::runtime_error {
  using std::runtime_error::runtime_error;
  /// "cannot write /x/y: No space left on device"; the number is errno's.
  FileError(std::string_view action, const std::filesystem::path& file, int error);
};

#endif
