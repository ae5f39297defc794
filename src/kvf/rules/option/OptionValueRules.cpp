#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/MemorySize.h"
#include "kvf/jvm/JvmNames.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/launch/LogOption.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// Flags and logs with values that a JVM refuses, and flags that it refuses together.

namespace {

enum class ValueKind { size, percentage, count };

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
    {"MaxRAMFraction", ValueKind::count},
    {"MinRAMFraction", ValueKind::count},
    {"InitialRAMFraction", ValueKind::count},
    {"CICompilerCount", ValueKind::count},
};

bool isSize(std::string_view value) {
  return memorySize(value) || value.starts_with("0x") || value.starts_with("0X");
}

bool isDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// A percentage of a release up to 17, of which 8 takes no other form than "75.0".
bool hasFormOf(const std::string& value, unsigned release) {
  const std::size_t point = value.find('.');
  if (point == std::string::npos) {
    const bool isInBase16 = value.starts_with("0x") || value.starts_with("0X");
    return release != oldestRelease && (isDigits(value) || isInBase16);
  }
  const std::string fraction = value.substr(point + 1);
  const bool isFraction = release == oldestRelease
                              ? isDigits(fraction)
                              : fraction.find_first_not_of("0123456789eE+-") == std::string::npos;
  return isDigits(value.substr(0, point)) && !fraction.empty() && isFraction;
}

/// The number, if the release takes it; newer ones do what strtod does.
std::optional<double> percentage(const std::string& value, unsigned release) {
  constexpr unsigned lastWithForms = 17;
  if (value.empty() || std::isspace(static_cast<unsigned char>(value.front())) != 0 ||
      (release <= lastWithForms && !hasFormOf(value, release)))
    return std::nullopt;
  char* end = nullptr;
  const double number = std::strtod(value.c_str(), &end);
  const bool isNumber = end == value.c_str() + value.size() && std::isfinite(number);
  return isNumber ? std::optional(number) : std::nullopt;
}

/// Why the JVM does not take it; empty: it does.
std::string_view complaintAboutPercentage(const std::string& value, unsigned release) {
  const std::optional<double> number = percentage(value, release);
  // Java 8 takes any number.
  const bool isOut = release != oldestRelease && number && (*number > 100 || *number < 0);
  if (isOut) return "a percentage is at most 100: write one such as 75.0";
  if (number) return "";
  return release == oldestRelease && isDigits(value)
             ? "Java 8 needs a decimal point in it: write one such as 75.0"
             : "a percentage is just a number: write one such as 75.0";
}

std::string_view complaintAbout(const ValuedFlag& flag, std::string_view value, unsigned release) {
  if (flag.kind == ValueKind::percentage)
    return complaintAboutPercentage(std::string(value), release);
  if (flag.kind == ValueKind::count)
    return memorySize(value) == 0 ? "it is 1 or more: correct or remove it" : "";
  return isSize(value) ? "" : "a size is a number followed by k, m or g: write one such as 64m";
}

/// True where the complaint is that the JVM cannot read the value, and not that it is a wrong one.
bool cannotRead(const ValuedFlag& flag) {
  // MaxHeapSize is read like -Xmx.
  return flag.kind != ValueKind::count && flag.name != "MaxHeapSize";
}

/// Without a compiler no thread of it is needed.
bool compiles(const std::vector<std::string>& options) {
  return std::none_of(options.begin(), options.end(), [](const std::string& option) {
    return option == "-Xint" || option == "-XX:TieredStopAtLevel=0";
  });
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
    if (name == "CICompilerCount" && !compiles(inspection.plan.options)) continue;
    // Another rule reports one that the JVM does not know or no longer accepts.
    const std::optional<OptionHistory> history = historyOf(option);
    const auto state = history ? history->in(jvm->release) : std::nullopt;
    if (state && !isUsable(*state)) continue;
    // Another rule reports what the launcher joined from two words.
    if (value.find('=') != std::string_view::npos) continue;
    const std::string_view complaint = complaintAbout(*flag, value, jvm->release);
    if (complaint.empty()) continue;
    const bool isIgnored =
        cannotRead(*flag) && inspection.runsInProcess() && ignoresUnusableFlags(jvm->release);
    Finding& finding =
        report.fatalIf(!isIgnored, places.of(option),
                       concat({"the JVM ", isIgnored ? "silently ignores " : "does not start with ",
                               shown(option), ": ", complaint}));
    finding.harmless = isIgnored;
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

constexpr std::string_view logLevels[] = {"off", "trace", "debug", "info", "warning", "error"};
/// By their long and short names.
constexpr std::string_view logDecorators[] = {
    "time",     "t",  "utctime",      "utc", "uptime",    "u",  "timemillis", "tm", "pid",   "p",
    "hostname", "hn", "uptimemillis", "um",  "timenanos", "tn", "tid",        "ti", "level", "l",
    "tags",     "tg", "uptimenanos",  "un",  "none"};

std::string lowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

template <std::size_t size>
bool isOneOf(const std::string_view (&names)[size], std::string_view name) {
  return std::find(std::begin(names), std::end(names), lowered(name)) != std::end(names);
}

/// The pieces between the separators, empty ones too.
std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = text.find(separator);
    pieces.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return pieces;
}

/// Why a JVM does not take "TAG+TAG*=LEVEL"; empty: it does.
std::string complaintAboutSelection(std::string_view selection, JvmNames& names) {
  const std::size_t equals = selection.find('=');
  std::string_view tags = selection.substr(0, equals);
  if (equals != std::string_view::npos && !isOneOf(logLevels, selection.substr(equals + 1)))
    return concat({shown(selection.substr(equals + 1)),
                   " is no level of its log: write off, trace, debug, info, warning or error"});
  if (tags.ends_with('*')) tags.remove_suffix(1);
  for (const std::string_view tag : split(tags, '+')) {
    if (!tag.empty() && !names.lacksTag(lowered(tag))) continue;
    return concat({shown(tag), " is no tag of its log; -Xlog:help lists those that it has"});
  }
  return {};
}

std::string complaintAbout(const LogOption& log, JvmNames& names) {
  // "async" is also said to wait or not.
  const bool isAlone = log.what == "help" || log.what == "disable" ||
                       (log.what.starts_with("async") && !names.lacksTag("async"));
  if (isAlone) return {};
  const std::string_view what = log.what.empty() ? "all" : log.what;
  for (const std::string_view selection : split(what, ',')) {
    if (selection == "all" || selection.starts_with("all=")) continue;
    std::string complaint = complaintAboutSelection(selection, names);
    if (!complaint.empty()) return complaint;
  }
  for (const std::string_view decorator : piecesOf(log.decorators, ",")) {
    if (!isOneOf(logDecorators, decorator))
      return concat({shown(decorator), " is no decoration of its log; -Xlog:help lists them"});
  }
  return {};
}

void logSelection(const Inspection& inspection, Report& report) {
  constexpr unsigned first = 9;
  const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
  if (!jvm || jvm->release < first) return;
  JvmNames names(jvm->library);
  OptionPlaces places(inspection);
  for (const std::string& option : inspection.plan.options) {
    const std::optional<LogOption> log = logOption(option);
    if (!log) continue;
    const std::string complaint = complaintAbout(*log, names);
    if (!complaint.empty())
      report.fatal(places.of(option),
                   concat({"the JVM does not start with ", shown(option), ": ", complaint}));
  }
}

constexpr Rule rules[] = {
    {.id = "option-value",
     .severity = Severity::error,
     .summary = "a size, percentage or number that a JVM does not accept",
     .explanation = "A size is a number with at most one letter, k, m, g or t, after it; a "
                    "percentage has none. Java 8 needs percentages with a decimal point. A "
                    "fraction of the memory is 1 or more, and so is the number of compiler "
                    "threads. The JVM does not start with anything else.",
     .example = {.lines = "java.extended.properties=-XX:MaxMetaspaceSize=128MB"},
     .remedy = {.lines = "java.extended.properties=-XX:MaxMetaspaceSize=128m"},
     .check = optionValue},
    {.id = "log-selection",
     .severity = Severity::error,
     .summary = "a tag, level or decoration that the JVM's log does not have",
     .explanation =
         "-Xlog:WHAT:OUTPUT:DECORATIONS has tags with + between them and a level behind =, such as "
         "gc+heap=debug, and * for all with these tags and more. The JVM does not start with a "
         "word that it does not know there. Tags are those whose names stand in its library.",
     .example = {.lines = "java.extended.properties=-Xlog:gc=verbose"},
     .remedy = {.lines = "java.extended.properties=-Xlog:gc=debug"},
     .check = logSelection},
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
