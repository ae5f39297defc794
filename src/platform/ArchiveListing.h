#ifndef VELOX_PLATFORM_ARCHIVELISTING_H
#define VELOX_PLATFORM_ARCHIVELISTING_H

#include <cstddef>
#include <string_view>
#include <vector>

#include "foundation/WString.h"

/// True when the name holds ".jar" or ".zip", in lower case and anywhere.
bool isArchiveFileName(std::string_view name);

/// Lists the archives below a directory: regular files with such a name, as full paths in reading
/// order. Links are not followed. `maxDepth` 1 is the directory alone. Once the list has `maxCount`
/// entries, the next archive of a directory ends the reading of that directory.
///
/// A directory that cannot be opened contributes nothing. Exhausted memory throws the default
/// memory exception.
std::vector<WString> listArchives(const char* directory, std::size_t maxCount, int maxDepth);

#endif
