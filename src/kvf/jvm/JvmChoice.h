#ifndef VELOX_KVF_JVM_JVMCHOICE_H
#define VELOX_KVF_JVM_JVMCHOICE_H

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/jvm/JvmSearch.h"

/// The releases of Java that suit.
struct JavaReleases {
  static constexpr unsigned newest = std::numeric_limits<unsigned>::max();

  unsigned first = 0;
  unsigned last = newest;

  /// "17" is that one alone; "17..25", "17.." and "..21" are ranges. Nothing for another text.
  static std::optional<JavaReleases> of(std::string_view text);

  [[nodiscard]] bool contain(unsigned release) const { return first <= release && release <= last; }
  /// " of Java 17 to 25", or nothing when any suits.
  [[nodiscard]] std::string description() const;
};

/// The JVM to name, of those that suit: JAVA_HOME's, else that of the first java along PATH, else
/// the newest. Nothing when none suits.
///
/// Where only one release suits, its way is one that stays with it: a home with the number in its
/// name, if there is one, and not, say, that of the system's default.
std::optional<Jvm> chosenJvm(const JvmPlaces& places, const std::vector<Jvm>& found,
                             const JavaReleases& releases);

#endif
