#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "javarun/ClassPath.h"
#include "javarun/JavaParameterParser.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// An option of the JVM, and the key that it comes from; empty: the launcher's own.
struct SourcedOption {
  std::string option;
  std::string key;
};

std::string keyOfSetting(const Inspection& inspection, std::string_view option) {
  if (option.starts_with(classPathOption)) {
    return inspection.plan.classPathKey == nullptr ? "" : inspection.plan.classPathKey;
  }
  for (const javaparser::KeyOption& setting :
       {javaparser::nativeLibraryPathOption, javaparser::nativeLibraryOption,
        javaparser::maxHeapSizeOption, javaparser::minHeapSizeOption,
        javaparser::initialHeapSizeOption, javaparser::threadStackSizeOption}) {
    if (option.starts_with(setting.prefix)) return setting.key;
  }
  return {};
}

/// The plan's options, in the JVM's order.
std::vector<SourcedOption> sourcedOptions(const Inspection& inspection) {
  const javaparser::JavaParameterParser parser(inspection.run().merged);
  const std::size_t properties = parser.getJavaDotPropertyOptions().size();
  const std::size_t extended = properties + parser.getExtendJavaOptions().size();
  std::vector<SourcedOption> sourced;
  for (const std::string& option : inspection.plan.options) {
    const std::size_t index = sourced.size();
    const std::string name = option.substr(0, option.find('='));
    sourced.push_back({option, index < properties ? concat({keys::javaPropertyPrefix,
                                                            std::string_view(name).substr(2)})
                               : index < extended ? std::string(keys::extendedProperties)
                                                  : keyOfSetting(inspection, option)});
  }
  return sourced;
}

/// Options that set the same thing, of which the last one counts.
struct Synonym {
  std::string_view prefix;
  std::string_view subject;
};

constexpr Synonym synonyms[] = {{"-Xmx", "the largest heap"},
                                {"-XX:MaxHeapSize=", "the largest heap"},
                                {"-Xms", "the initial heap"},
                                {"-XX:InitialHeapSize=", "the initial heap"},
                                {"-Xmn", "the young generation"},
                                {"-Xss", "the stack of a thread"},
                                {"-XX:ThreadStackSize=", "the stack of a thread"}};

/// What the option sets, in words; empty: nothing that is compared.
std::string subjectOf(std::string_view option) {
  if (option.starts_with("-D")) {
    return concat({"the system property ", option.substr(2, option.find('=') - 2)});
  }
  const auto* found =
      std::find_if(std::begin(synonyms), std::end(synonyms),
                   [&](const Synonym& synonym) { return option.starts_with(synonym.prefix); });
  return found == std::end(synonyms) ? std::string() : std::string(found->subject);
}

/// True when the option is in the line itself, not in a variable that the line refers to.
bool isWritten(const Inspection& inspection, const SourcedOption& sourced) {
  const Entry* entry = inspection.entryOf(sourced.key);
  if (entry == nullptr) return false;
  if (sourced.key != keys::extendedProperties) return true;
  const std::string name = sourced.option.substr(0, sourced.option.find('='));
  return entry->written.find(name) != std::string::npos;
}

/// The line replaces a default from an include.
bool replacesDefault(const Inspection& inspection, std::string_view winner,
                     std::string_view loser) {
  return inspection.includes(inspection.positionOf(winner), inspection.positionOf(loser));
}

void twoSources(const Inspection& inspection, Report& report) {
  if (!inspection.startsJvm()) return;
  const std::vector<SourcedOption> options = sourcedOptions(inspection);
  std::map<std::string, const SourcedOption*> last;
  for (const SourcedOption& sourced : options) last[subjectOf(sourced.option)] = &sourced;
  for (const SourcedOption& sourced : options) {
    const std::string subject = subjectOf(sourced.option);
    const SourcedOption& winner = *last[subject];
    if (subject.empty() || winner.key == sourced.key || winner.key.empty()) continue;
    if (winner.option == sourced.option || !isWritten(inspection, winner) ||
        !isWritten(inspection, sourced) || replacesDefault(inspection, winner.key, sourced.key)) {
      continue;
    }
    report(inspection.positionOf(winner.key),
           concat({subject, " is set here by ", shown(winner.option), ", which counts, and by ",
                   shown(sourced.option), " of ", sourced.key, " (",
                   inspection.nameOf(inspection.positionOf(sourced.key)), "): keep one of them"}));
  }
}

void classPathUnused(const Inspection& inspection, Report& report) {
  if (!inspection.value(keys::classPathExtended)) return;
  const Entry* entry = inspection.entryOf(keys::classPath);
  if (entry == nullptr || entry->value.empty()) return;
  if (replacesDefault(inspection, keys::classPathExtended, keys::classPath)) return;
  report(entry->at, concat({keys::classPathExtended, " (",
                            inspection.nameOf(inspection.positionOf(keys::classPathExtended)),
                            ") is the whole class path, and this has no effect: add it there"}));
}

/// Shares of the memory, which count as long as the size itself is not set.
void shareUnused(const Inspection& inspection, Report& report) {
  struct Share {
    std::string_view prefix, subject;
  };
  constexpr Share shares[] = {{"-XX:MaxRAMPercentage=", "the largest heap"},
                              {"-XX:MinRAMPercentage=", "the largest heap"},
                              {"-XX:MaxRAMFraction=", "the largest heap"},
                              {"-XX:InitialRAMPercentage=", "the initial heap"}};
  const std::vector<SourcedOption> options = sourcedOptions(inspection);
  for (const SourcedOption& sourced : options) {
    const auto* share = std::find_if(std::begin(shares), std::end(shares), [&](const Share& one) {
      return sourced.option.starts_with(one.prefix);
    });
    if (share == std::end(shares) || !isWritten(inspection, sourced)) continue;
    const auto size = std::find_if(options.begin(), options.end(), [&](const SourcedOption& one) {
      return subjectOf(one.option) == share->subject && isWritten(inspection, one);
    });
    if (size == options.end()) continue;
    report(inspection.positionOf(sourced.key),
           concat({shown(sourced.option), " has no effect beside ", shown(size->option), " of ",
                   size->key, " (", inspection.nameOf(inspection.positionOf(size->key)),
                   "): keep one of them"}));
  }
}

void stopMethodUnused(const Inspection& inspection, Report& report) {
  const Entry* entry = inspection.entryOf(keys::stopMethod);
  if (entry == nullptr || !inspection.runsInProcess() || !inspection.isJava()) return;
  if (!inspection.valueOf(keys::stopSignals).empty()) return;
  report(entry->at, concat({"nothing calls the stop method without ", keys::stopSignals, ": add ",
                            keys::stopSignals, "=TERM,INT"}));
}

void startMethodUnused(const Inspection& inspection, Report& report) {
  const std::string command = inspection.command();
  const Entry* entry = inspection.entryOf(keys::startMethod);
  if (entry == nullptr || entry->value == "main") return;
  if (command != switches::cmdlineJava && command != switches::generateScript) return;
  report(entry->at, concat({command, " runs main, not ", shown(entry->value),
                            ": start it with --run, or in a class of its own"}));
}

void withoutEffect(const Inspection& inspection, Report& report) {
  if (!inspection.isJava()) return;
  classPathUnused(inspection, report);
  shareUnused(inspection, report);
  stopMethodUnused(inspection, report);
  startMethodUnused(inspection, report);
}

constexpr Rule rules[] = {
    {.id = "two-sources",
     .severity = Severity::warning,
     .summary = "one setting made with two keys, of which one wins",
     .explanation = "Sizes and system properties have keys of their own, but can also be set in "
                    "java.extended.properties. The JVM gets both and uses the last: java.property. "
                    "comes first, then java.extended.properties, then the other keys. A file may "
                    "replace a default of its include.",
     .example = {.lines = "java.heap.size.max=256m\njava.extended.properties=-Xmx512m"},
     .remedy = {.lines = "java.heap.size.max=256m\njava.extended.properties=-Xrs"},
     .check = twoSources},
    {.id = "without-effect",
     .severity = Severity::warning,
     .summary = "a setting that another one makes useless",
     .explanation =
         "java.class.path counts only without velox.class.path.extended, a share of the memory "
         "only without a size; a stop method is called only by the signals of "
         "application.stop.signals; --cmdlineJava and a generated script always run main.",
     .example = {.lines =
                     "java.heap.size.max=1g\njava.extended.properties=-XX:MaxRAMPercentage=50.0"},
     .remedy = {.lines = "java.extended.properties=-XX:MaxRAMPercentage=50.0"},
     .check = withoutEffect},
};

}  // namespace

std::span<const Rule> sourceRules() {
  return rules;
}
