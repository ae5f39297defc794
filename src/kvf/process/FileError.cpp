#include "kvf/process/FileError.h"

#include <cstring>

#include "kvf/text/Text.h"

FileError::FileError(std::string_view action, const std::filesystem::path& file, int error)
    : std::runtime_error(
          concat({"cannot ", action, " ", file.native(), ": ", std::strerror(error)})) {}
