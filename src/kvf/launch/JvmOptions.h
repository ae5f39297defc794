#ifndef VELOX_KVF_LAUNCH_JVMOPTIONS_H
#define VELOX_KVF_LAUNCH_JVMOPTIONS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kvf/launch/Inspection.h"

/// The options of the JVM: what they mean and where they come from.

/// What a size is of.
enum class SizeKind { maximumHeap, initialHeap, youngGeneration, stack };

/// An option that sets a size, such as -Xmx512m.
struct SizeOption {
  SizeKind kind;
  std::string option;
  std::string size;  ///< as it is written
  Position at;       ///< of its key
  bool isJoined;     ///< of several words, which the launcher joins with "="
};

/// All of them, in the JVM's order: of one kind the last one counts. Those of a key with an empty
/// value are left out.
std::vector<SizeOption> sizeOptions(const Inspection& inspection);

/// The maximum heap in bytes; nothing when no option sets it well.
std::optional<std::uint64_t> maximumHeap(const Inspection& inspection);

/// Where the options of a plan come from: a key, or a word of the option line, which may go over
/// several lines of the file. What comes from variables is not written there: the longest part
/// before a "=" or ":" that is found counts.
class OptionPlaces {
 public:
  /// REQUIRES: the inspection outlives this.
  explicit OptionPlaces(const Inspection& inspection);

  [[nodiscard]] Position of(const std::string& option);

 private:
  void readWords();
  [[nodiscard]] Position placeOf(const std::pair<const std::string_view, std::size_t>& word) const;

  const Inspection& inspection_;
  const Entry* entry_;
  bool isRead_ = false;
  std::map<std::string_view, std::size_t> words_;  ///< where each first is in the raw value
};

/// The same for one option.
Position positionOfOption(const Inspection& inspection, const std::string& option);

/// The words between the blanks of an option line, as views of it.
std::set<std::string_view> wordsOfOptionLine(std::string_view line);

/// True for an option that sets a size, well or not.
bool setsSize(std::string_view option);

/// True when a JVM may not know the option: it is neither a system property nor a size.
bool mayBeUnknown(std::string_view option);

#endif
