#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/MemorySize.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// Flags with values that a JVM refuses, and flags that it refuses together.

namespace {

enum class ValueKind { size, percentage };

struct ValuedFlag {
  std::string_view name;
  ValueKind kind;
};

constexpr ValuedFlag valuedFlags[] = {
    {"MaxHeapSize", ValueKind::size},
    {"InitialHeapSize", ValueKind::size},
    {"MinHeapSize", ValueKind::size},
    {"NewSize", ValueKind::size},
    {"MaxNewSize", ValueKind::size},
    {"MetaspaceSize", ValueKind::size},
    {"MaxMetaspaceSize", ValueKind::size},
    {"CompressedClassSpaceSize", ValueKind::size},
    {"MaxDirectMemorySize", ValueKind::size},
    {"InitialCodeCacheSize", ValueKind::size},
    {"ReservedCodeCacheSize", ValueKind::size},
    {"G1HeapRegionSize", ValueKind::size},
    {"SoftMaxHeapSize", ValueKind::size},
    {"MaxRAM", ValueKind::size},
    {"MaxRAMPercentage", ValueKind::percentage},
    {"MinRAMPercentage", ValueKind::percentage},
    {"InitialRAMPercentage", ValueKind::percentage},
};

bool isSize(std::string_view value) {
  return memorySize(value) || value.starts_with("0x") || value.starts_with("0X");
}

/// Why the JVM does not take it; empty: it does.
std::string_view complaintAboutPercentage(std::string_view value, unsigned release) {
  const std::size_t point = value.find('.');
  const auto isDigits = [](std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
  };
  const std::string_view whole = value.substr(0, point);
  const bool hasPoint = point != std::string_view::npos;
  if (whole.empty() || !isDigits(whole) || (hasPoint && !isDigits(value.substr(point + 1))))
    return "a percentage is just a number: write one such as 75.0";
  if (memorySize(whole).value_or(101) > 100)
    return "a percentage is at most 100: write one such as 75.0";
  return !hasPoint && release == oldestRelease
             ? "Java 8 needs a decimal point in it: write one such as 75.0"
             : "";
}

std::string_view complaintAbout(const ValuedFlag& flag, std::string_view value, unsigned release) {
  if (flag.kind == ValueKind::percentage) return complaintAboutPercentage(value, release);
  return isSize(value) ? "" : "a size is a number followed by k, m or g: write one such as 64m";
}

void optionValue(const Inspection& inspection, Report& report) {
  const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
  if (!jvm) return;
  OptionPlaces places(inspection);
  for (const std::string& option : inspection.plan.options) {
    const std::string_view name = flagOf(option);
    const auto* const flag =
        std::find_if(std::begin(valuedFlags), std::end(valuedFlags),
                     [&](const ValuedFlag& one) { return !name.empty() && one.name == name; });
    const std::size_t equals = option.find('=');
    if (flag == std::end(valuedFlags) || equals == std::string::npos) continue;
    const std::string_view value = std::string_view(option).substr(equals + 1);
    // Another rule reports what the launcher joined from two words.
    if (value.find('=') != std::string_view::npos) continue;
    const std::string_view complaint = complaintAbout(*flag, value, jvm->release);
    if (complaint.empty()) continue;
    report.fatal(places.of(option),
                 concat({"the JVM does not start with ", shown(option), ": ", complaint}));
  }
}

constexpr std::string_view collectors[] = {
    "UseSerialGC",     "UseParallelGC", "UseG1GC",           "UseZGC",
    "UseShenandoahGC", "UseEpsilonGC",  "UseConcMarkSweepGC"};

void twoCollectors(const Inspection& inspection, Report& report) {
  const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
  if (!jvm) return;
  std::vector<const std::string*> chosen;
  for (const std::string& option : inspection.plan.options) {
    const std::string_view flag = flagOf(option);
    if (std::find(std::begin(collectors), std::end(collectors), flag) == std::end(collectors))
      continue;
    const auto history = historyOf(option);
    const auto state = history ? history->in(jvm->release) : std::optional<OptionState>();
    if (!state || !isUsable(*state)) continue;
    std::erase_if(chosen, [&](const std::string* one) { return flagOf(*one) == flag; });
    if (option.starts_with("-XX:+")) chosen.push_back(&option);
  }
  if (chosen.size() < 2) return;
  report.fatal(positionOfOption(inspection, *chosen.back()),
               concat({shown(*chosen[0]), " and ", shown(*chosen[1]),
                       " are two collectors, and the JVM does not start: keep one"}));
}

constexpr Rule rules[] = {
    {.id = "option-value",
     .severity = Severity::error,
     .summary = "a size or a percentage that a JVM does not accept",
     .explanation = "A size is a number with at most one letter, k, m, g or t, after it; a "
                    "percentage has none. Java 8 needs percentages with a decimal point. The JVM "
                    "does not start with anything else.",
     .example = {.lines = "java.extended.properties=-XX:MaxMetaspaceSize=128MB"},
     .remedy = {.lines = "java.extended.properties=-XX:MaxMetaspaceSize=128m"},
     .check = optionValue},
    {.id = "two-collectors",
     .severity = Severity::error,
     .summary = "two garbage collectors at once",
     .explanation = "The JVM does not start when several collectors are switched on.",
     .example = {.lines = "java.extended.properties=-XX:+UseG1GC -XX:+UseSerialGC"},
     .remedy = {.lines = "java.extended.properties=-XX:-UseG1GC -XX:+UseSerialGC"},
     .check = twoCollectors},
};

}  // namespace

std::span<const Rule> optionValueRules() {
  return rules;
}
