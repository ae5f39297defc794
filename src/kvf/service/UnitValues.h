#ifndef VELOX_KVF_SERVICE_UNITVALUES_H
#define VELOX_KVF_SERVICE_UNITVALUES_H

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

/// Single values as systemd reads them; nothing where it would refuse them.

inline constexpr std::uint64_t unlimitedBytes = std::numeric_limits<std::uint64_t>::max();

/// "64M", "infinity".
std::optional<std::uint64_t> unitBytes(std::string_view text);

struct UnitLimit {
  std::uint64_t soft, hard;
};

/// "64M", or "8M:64M" for soft and hard.
std::optional<UnitLimit> unitLimit(std::string_view text);

/// "90", "1min 30s"; "infinity" is the largest.
std::optional<std::chrono::milliseconds> unitTime(std::string_view text);

/// "yes", "no" and the like.
std::optional<bool> unitBoolean(std::string_view text);

/// "SIGTERM", "TERM", "RTMIN+3" or "15" as a number.
std::optional<int> unitSignal(std::string_view text);

#endif
