#include "kvf/process/FileStamp.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include <sys/stat.h>

namespace fs = std::filesystem;

FileStamp stampOf(const fs::path& file) {
  struct stat status = {};
  if (::stat(file.c_str(), &status) == 0)
    return {true, S_ISDIR(status.st_mode), status.st_size, status.st_mtim.tv_sec};
  constexpr int nothing[] = {ENOENT, ENOTDIR, EACCES, ELOOP, ENAMETOOLONG};
  const bool isNothing =
      std::find(std::begin(nothing), std::end(nothing), errno) != std::end(nothing);
  return {.error = isNothing ? 0 : errno};
}
