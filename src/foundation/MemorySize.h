#ifndef VELOX_FOUNDATION_MEMORYSIZE_H
#define VELOX_FOUNDATION_MEMORYSIZE_H

#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>

/// The bytes in a size as a JVM reads it: a decimal number with an optional k, m, g or t in either
/// case. Nothing for any other text and for a size that does not fit.
constexpr std::optional<std::size_t> memorySize(std::string_view text) {
  std::size_t number = 0;
  std::size_t digits = 0;
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
    const auto digit = static_cast<std::size_t>(text[digits] - '0');
    if (number > (most - digit) / 10) return std::nullopt;
    number = number * 10 + digit;
  }
  const std::string_view unit = text.substr(digits);
  if (digits == 0 || unit.size() > 1) return std::nullopt;
  if (unit.empty()) return number;
  const std::size_t power = std::string_view("kKmMgGtT").find(unit[0]);
  if (power == std::string_view::npos) return std::nullopt;
  const std::size_t shift = 10 * (power / 2 + 1);
  if (number > (most >> shift)) return std::nullopt;
  return number << shift;
}

#endif
