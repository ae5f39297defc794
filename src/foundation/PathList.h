#ifndef VELOX_FOUNDATION_PATHLIST_H
#define VELOX_FOUNDATION_PATHLIST_H

#include <string_view>
#include <vector>

#include "foundation/WString.h"

/// True for the two characters that separate the elements of a path list, ":" and ";".
bool isPathSeparator(char c);

/// The elements of a path list in order, as views of it. Empty ones are passed over.
std::vector<std::string_view> pathElements(std::string_view list);

/// The path without its last character when that is a "/" or a "\".
std::string_view withoutTrailingSlash(std::string_view path);

/// The name that a program was started by: the text after the last "/", without the first ".exe".
WString GetBinaryNameFromPath(const WString& path);

#endif
