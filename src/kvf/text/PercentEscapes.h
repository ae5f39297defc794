#ifndef VELOX_KVF_TEXT_PERCENTESCAPES_H
#define VELOX_KVF_TEXT_PERCENTESCAPES_H

#include <functional>
#include <string>
#include <string_view>

/// Bytes as URIs have them, "%20" for a blank.

/// Escapes every byte that is not plain.
std::string percentEscaped(std::string_view text, const std::function<bool(char)>& isPlain);
/// The bytes that are meant; a percent sign without two hexadecimal digits stands for itself.
std::string percentDecoded(std::string_view text);

#endif
