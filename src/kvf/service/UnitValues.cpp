#include "kvf/service/UnitValues.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstring>

#include <strings.h>

namespace {

/// Removes the number at the start: digits, and a fraction.
std::optional<double> takeNumber(std::string_view& text) {
  double value = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (error != std::errc() || !(value >= 0)) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return value;
}

void skipBlanks(std::string_view& text) {
  while (text.starts_with(' ') || text.starts_with('\t')) text.remove_prefix(1);
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() && ::strncasecmp(left.data(), right.data(), left.size()) == 0;
}

struct TimeUnit {
  std::string_view name;
  double milliseconds;
};

constexpr double second = 1000;
constexpr TimeUnit timeUnits[] = {
    {"seconds", second},
    {"second", second},
    {"sec", second},
    {"s", second},
    {"minutes", 60 * second},
    {"minute", 60 * second},
    {"min", 60 * second},
    {"months", 2629800000.0},
    {"month", 2629800000.0},
    {"msec", 1},
    {"ms", 1},
    {"m", 60 * second},
    {"hours", 3600 * second},
    {"hour", 3600 * second},
    {"hr", 3600 * second},
    {"h", 3600 * second},
    {"days", 86400 * second},
    {"day", 86400 * second},
    {"d", 86400 * second},
    {"weeks", 604800000.0},
    {"week", 604800000.0},
    {"w", 604800000.0},
    {"years", 31557600000.0},
    {"year", 31557600000.0},
    {"y", 31557600000.0},
    {"usec", 0.001},
    {"us", 0.001},
    {"", second},
};

}  // namespace

std::optional<std::uint64_t> unitBytes(std::string_view text) {
  if (text == "infinity") return unlimitedBytes;
  const std::optional<double> number = takeNumber(text);
  if (!number) return std::nullopt;
  skipBlanks(text);
  constexpr std::string_view suffixes = "BKMGTPE";
  if (text.size() > 1) return std::nullopt;
  const std::size_t power = text.empty() ? 0 : suffixes.find(text[0]);
  if (power == std::string_view::npos) return std::nullopt;
  const double bytes = std::ldexp(*number, static_cast<int>(power) * 10);
  if (bytes >= std::ldexp(1.0, 64)) return std::nullopt;
  return static_cast<std::uint64_t>(bytes);
}

std::optional<UnitLimit> unitLimit(std::string_view text) {
  const std::size_t colon = text.find(':');
  const auto soft = unitBytes(text.substr(0, colon));
  const auto hard = colon == std::string_view::npos ? soft : unitBytes(text.substr(colon + 1));
  if (!soft || !hard || *soft > *hard) return std::nullopt;
  return UnitLimit{*soft, *hard};
}

std::optional<std::chrono::milliseconds> unitTime(std::string_view text) {
  if (text == "infinity") return std::chrono::milliseconds::max();
  double sum = 0;
  skipBlanks(text);
  if (text.empty()) return std::nullopt;
  while (!text.empty()) {
    const std::optional<double> number = takeNumber(text);
    if (!number) return std::nullopt;
    skipBlanks(text);
    const TimeUnit* unit = timeUnits;
    while (!text.starts_with(unit->name)) ++unit;
    text.remove_prefix(unit->name.size());
    if (unit->name.empty() && !text.empty() && std::isdigit(text[0] & 0x7F) == 0)
      return std::nullopt;
    skipBlanks(text);
    sum += *number * unit->milliseconds;
  }
  constexpr double most = 1e15;
  return std::chrono::milliseconds(static_cast<std::int64_t>(std::min(sum, most)));
}

std::optional<bool> unitBoolean(std::string_view text) {
  for (const char* word : {"1", "yes", "y", "true", "t", "on"})
    if (equalsIgnoringCase(text, word)) return true;
  for (const char* word : {"0", "no", "n", "false", "f", "off"})
    if (equalsIgnoringCase(text, word)) return false;
  return std::nullopt;
}

std::optional<int> unitSignal(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size())
    return number > 0 && number < NSIG ? std::optional(number) : std::nullopt;
  if (text.starts_with("SIG")) text.remove_prefix(3);
  for (int signal = 1; signal < NSIG; ++signal) {
    const char* name = ::sigabbrev_np(signal);
    if (name != nullptr && text == name) return signal;
  }
  return std::nullopt;
}
