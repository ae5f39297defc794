#ifndef VELOX_KVF_JVM_OPTIONHISTORY_H
#define VELOX_KVF_JVM_OPTIONHISTORY_H

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

/// What the releases of OpenJDK do with an option of a JVM, from a table of what some of them said
/// when asked.

inline constexpr std::array<unsigned, 6> askedReleases = {8, 11, 17, 21, 25, 26};
inline constexpr unsigned oldestRelease = askedReleases.front();
inline constexpr unsigned newestRelease = askedReleases.back();

enum class OptionState : char {
  unknown = '-',
  taken = 't',
  deprecated = 'd',    ///< taken, with a warning
  ignored = 'i',       ///< with a warning
  experimental = 'x',  ///< refused unless -XX:+UnlockExperimentalVMOptions comes before it
  diagnostic = 'g',    ///< refused unless -XX:+UnlockDiagnosticVMOptions comes before it
  refused = 'e',       ///< the JVM does not start
};

/// True when the option has, or can have, its effect.
bool isUsable(OptionState state);

/// Told to ignore options that it does not know, Java 8 also ignores flags that are locked, or that
/// have a form or a value that it cannot read; later releases do not start.
constexpr bool ignoresUnusableFlags(unsigned release) {
  return release == 8;
}

struct OptionHistory {
  std::string_view name;    ///< of a flag alone, "UseSerialGC"; "-Xint", "-Xloggc:", "--add-opens="
  std::string_view states;  ///< of the asked releases, as letters
  unsigned deprecatedIn = 0;  ///< 0: not, or not known since when
  unsigned removedIn = 0;     ///< the first release where it cannot be used any more; 0 as above
  bool isSwitch = false;      ///< a flag that is on or off

  /// Nothing for a release between two asked ones that differ, where it is not known since when.
  [[nodiscard]] std::optional<OptionState> in(unsigned release) const;
  /// The last asked release before this one, or the first one after it, in which the option is
  /// usable; 0: none.
  [[nodiscard]] unsigned lastUsableBefore(unsigned release) const;
  [[nodiscard]] unsigned firstUsableAfter(unsigned release) const;
};

/// Of an option as a JVM gets it, "-XX:+UseSerialGC", "-Xloggc:gc.log"; nothing when no asked JVM
/// knows it, or they were not asked about it.
std::optional<OptionHistory> historyOf(std::string_view option);

/// The flag of "-XX:+NAME", "-XX:-NAME" or "-XX:NAME=VALUE"; empty: it is no flag.
std::string_view flagOf(std::string_view option);

/// The flag of some release that the name was probably meant to be; empty: none is near.
std::string_view nearestFlag(std::string_view name);

/// What to write instead of a removed option, as the end of a sentence; null: unknown.
const char* insteadOf(const OptionHistory& history);

#endif
