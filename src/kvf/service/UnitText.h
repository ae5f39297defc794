#ifndef VELOX_KVF_SERVICE_UNITTEXT_H
#define VELOX_KVF_SERVICE_UNITTEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// One assignment of a systemd unit, as systemd reads it: continuation lines are joined by a blank,
/// and comments between them left out.
struct UnitSetting {
  std::string section;  ///< without brackets
  std::string key;
  std::string value;
  std::size_t file = 0;  ///< the number that the text was read as
  /// Where in the value a line begins, and its number from 1; at least the first line.
  std::vector<std::pair<std::size_t, std::size_t>> lines;

  /// The line of the file that this byte of the value is in.
  [[nodiscard]] std::size_t lineOf(std::size_t offset = 0) const;
};

/// A line that systemd ignores, and why.
struct UnitComplaint {
  std::size_t line;
  std::string text;
};

struct UnitText {
  std::vector<UnitSetting> settings;
  std::vector<UnitComplaint> complaints;
};

/// Reads a unit or a drop-in.
UnitText parseUnitText(std::string_view text, std::size_t file = 0);

#endif
