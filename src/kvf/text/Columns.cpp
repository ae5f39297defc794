#include "kvf/text/Columns.h"

#include <array>
#include <cstdio>

std::string formatted(const char* format, double number) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

std::string padded(std::string text, std::size_t width) {
  text.insert(0, width > text.size() ? width - text.size() : 0, ' ');
  return text;
}
