#ifndef VELOX_KVF_TEXT_UNIFIEDDIFF_H
#define VELOX_KVF_TEXT_UNIFIEDDIFF_H

#include <string>
#include <string_view>

/// What turns one text into the other, as `diff -u` prints it and `patch` takes it: three lines
/// around each change. Not always the smallest. Empty for equal texts.
std::string unifiedDiff(std::string_view name, std::string_view before, std::string_view after);

#endif
