#ifndef VELOX_KVF_TEXT_PROPERTIESTEXT_H
#define VELOX_KVF_TEXT_PROPERTIESTEXT_H

#include <string>
#include <string_view>

/// The value as a properties file must spell it after "key=", so that the launcher reads just this
/// value: backslashes, percent signs, control characters, and blanks or "=" at its start.
std::string spelledInPropertiesFile(std::string_view value);

#endif
