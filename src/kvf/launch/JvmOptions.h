#ifndef VELOX_KVF_LAUNCH_JVMOPTIONS_H
#define VELOX_KVF_LAUNCH_JVMOPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/launch/Inspection.h"

/// The options of the JVM by what they mean and where they come from.

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

/// Where an option of the plan comes from.
Position positionOfOption(const Inspection& inspection, const std::string& option);

/// True for an option that the program java takes for itself: a JVM does not know it.
bool isOfJavaProgram(std::string_view option);

/// True for an option that sets a size, well or not.
bool setsSize(std::string_view option);

/// True when a JVM may not know the option: it is neither a system property nor a size.
bool mayBeUnknown(std::string_view option);

#endif
