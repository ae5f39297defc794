#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include "foundation/PropertyKeys.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

/// Options that lack a part that a JVM in the launcher's process needs.

namespace {

/// An option whose value begins after a "=" or ":".
struct ValuedOption {
  std::string_view name;
  char separator;
  const char* whole;
};

constexpr ValuedOption valued[] = {
    {"--add-opens", '=', "--add-opens=java.base/java.lang=ALL-UNNAMED"},
    {"--add-exports", '=', "--add-exports=java.base/sun.nio.ch=ALL-UNNAMED"},
    {"--add-reads", '=', "--add-reads=com.acme=ALL-UNNAMED"},
    {"--add-modules", '=', "--add-modules=java.sql"},
    {"--limit-modules", '=', "--limit-modules=java.sql"},
    {"--patch-module", '=', "--patch-module=com.acme=FILE"},
    {"--module-path", '=', "--module-path=FOLDER"},
    {"--upgrade-module-path", '=', "--upgrade-module-path=FOLDER"},
    {"--enable-native-access", '=', "--enable-native-access=ALL-UNNAMED"},
    {"-agentlib", ':', "-agentlib:jdwp=OPTIONS"},
    {"-agentpath", ':', "-agentpath:FILE"},
    {"-javaagent", ':', "-javaagent:FILE"},
    {"-Xloggc", ':', "-Xloggc:FILE"},
    {"-Xbootclasspath/a", ':', "-Xbootclasspath/a:FILE"},
};

/// An option whose value has parts.
struct PartedOption {
  std::string_view prefix;
  bool hasPackage;
  const char* shape;
};

constexpr PartedOption parted[] = {
    {"--add-opens=", true, "--add-opens=MODULE/PACKAGE=ALL-UNNAMED"},
    {"--add-exports=", true, "--add-exports=MODULE/PACKAGE=ALL-UNNAMED"},
    {"--add-reads=", false, "--add-reads=MODULE=ALL-UNNAMED"},
    {"--patch-module=", false, "--patch-module=MODULE=FILE"},
};

/// What is wrong with the parts of the value, the likeliest first; null: nothing.
const char* missingPart(std::string_view value, bool hasPackage) {
  const std::size_t equals = value.find('=');
  const std::string_view source = value.substr(0, equals);
  const std::size_t slash = source.find('/');
  if (equals == std::string_view::npos || equals + 1 == value.size()) return "target";
  if (source.empty() || slash == 0) return "module";
  if (!hasPackage) return nullptr;
  const bool lacksPackage = slash == std::string_view::npos || slash + 1 == source.size();
  return lacksPackage ? "package" : nullptr;
}

/// Reports a system property without a name, such as one after "-D" and a blank.
bool reportNameless(OptionPlaces& places, const std::string& option, Report& report) {
  if (option != "-D" && !option.starts_with("-D=")) return false;
  const std::string_view rest =
      std::string_view(option).substr(std::min<std::size_t>(3, option.size()));
  report(places.of(option),
         concat({shown(option), " names no system property, and sets none: write -D",
                 rest.empty() ? "NAME=VALUE" : printable(rest), " in one word"}));
  return true;
}

/// Reports an option that a JVM does not know without its value.
bool reportBare(OptionPlaces& places, const std::string& option, Report& report) {
  const auto* const found =
      std::find_if(std::begin(valued), std::end(valued), [&](const ValuedOption& one) {
        if (option == one.name) return true;
        return one.separator == ':' && option.starts_with(concat({one.name, "="}));
      });
  if (found == std::end(valued)) return false;
  report(places.of(option), concat({"a JVM does not know ", shown(option),
                                    " without a value after \"", std::string(1, found->separator),
                                    "\", and --run ignores it: write ", found->whole}));
  return true;
}

bool reportParts(const Inspection& inspection, OptionPlaces& places, const std::string& option,
                 unsigned release, Report& report) {
  const auto* const found =
      std::find_if(std::begin(parted), std::end(parted),
                   [&](const PartedOption& one) { return option.starts_with(one.prefix); });
  if (found == std::end(parted)) return false;
  const char* missing =
      missingPart(std::string_view(option).substr(found->prefix.size()), found->hasPackage);
  if (missing == nullptr) return false;
  // Java 8 has no modules, and --run ignores what it does not know.
  const bool isKnown = release != oldestRelease;
  report.fatalIf(
      isKnown && inspection.startsJvm(), places.of(option),
      concat({shown(option), " names no ", missing,
              isKnown ? ", and the JVM does not start: write " : ": write ", found->shape}));
  return true;
}

/// Reports a flag that is on or off without saying so, or one with a value that says so.
void reportFlag(const Inspection& inspection, OptionPlaces& places, const std::string& option,
                unsigned release, Report& report) {
  const std::string_view flag = flagOf(option);
  // Recordings are taken without a value, too.
  if (flag == "StartFlightRecording" || flag == "FlightRecorderOptions") return;
  const std::optional<OptionHistory> history =
      flag.empty() ? std::optional<OptionHistory>() : historyOf(option);
  const auto state = history ? history->in(release) : std::optional<OptionState>();
  if (!state || !isUsable(*state)) return;
  const bool hasSign = option[4] == '+' || option[4] == '-';
  const bool hasValue = option.find('=') != std::string::npos;
  if (history->isSwitch ? hasSign : hasValue && !hasSign) return;
  const std::string advice = history->isSwitch
                                 ? concat({"is on or off: write -XX:+", flag, " or -XX:-", flag})
                                 : concat({"has a value: write -XX:", flag, "=VALUE"});
  const bool isIgnored = inspection.runsInProcess() && ignoresUnusableFlags(release);
  Finding& finding =
      report.fatalIf(!isIgnored && inspection.startsJvm(), places.of(option),
                     concat({"the JVM ", isIgnored ? "silently ignores " : "does not start with ",
                             shown(option), ", a flag that ", advice}));
  finding.harmless = isIgnored;
}

void optionForm(const Inspection& inspection, Report& report) {
  if (!inspection.isJava() || !inspection.startsApplication()) return;
  const std::string line = inspection.valueOf(keys::extendedProperties);
  const std::set<std::string_view> words = wordsOfOptionLine(line);
  OptionPlaces places(inspection);
  const auto jvm = jvmOfLaunch(inspection);
  const unsigned release = jvm ? jvm->release : 0;
  for (const std::string& option : inspection.plan.options) {
    if (reportNameless(places, option, report)) continue;
    // Another rule reports what the launcher joined from two words.
    if (!words.contains(option)) continue;
    if (reportBare(places, option, report)) continue;
    if (reportParts(inspection, places, option, release, report)) continue;
    if (release != 0) reportFlag(inspection, places, option, release, report);
  }
}

constexpr Rule rules[] = {
    {.id = "option-form",
     .severity = Severity::error,
     .summary = "a JVM option that lacks a part",
     .explanation =
         "A JVM in the launcher's process needs some options in one word and complete: --add-opens "
         "with its target, -agentlib with a colon, -XX:+ or -XX:- in front of a flag that is on or "
         "off. Otherwise it does not start, or does not know the option, which --run ignores.",
     .example = {.lines = "java.extended.properties=-XX:UseSerialGC"},
     .remedy = {.lines = "java.extended.properties=-XX:+UseSerialGC"},
     .check = optionForm},
};

}  // namespace

std::span<const Rule> optionFormRules() {
  return rules;
}
