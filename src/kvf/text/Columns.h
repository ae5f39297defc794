#ifndef VELOX_KVF_TEXT_COLUMNS_H
#define VELOX_KVF_TEXT_COLUMNS_H

#include <cstddef>
#include <string>

/// Cells of tables for a terminal.

/// The number by a format of printf's for one double; at most 63 bytes of it.
std::string formatted(const char* format, double number);
/// The text at the right of a cell of that many bytes; a longer one as it is.
std::string padded(std::string text, std::size_t width);

#endif
