#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "foundation/PropertyKeys.h"
#include "kvf/rules/Keys.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// Looking for the nearest name takes its time; a file full of unknown ones needs none.
constexpr int maxSuggestions = 100;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// The names that values refer to.
class ReferencedNames {
 public:
  explicit ReferencedNames(const Inspection& inspection) {
    for (const Entry& entry : inspection.run().entries) {
      if (entry.skipped) skipped_.emplace_back(entry.written);
      for (const Reference& reference : entry.references) names_.insert(reference.name);
    }
  }

  /// True also when a value that was skipped may refer to it.
  [[nodiscard]] bool contain(const std::string& key) const {
    if (names_.contains(key)) return true;
    const std::string reference = concat({"%", key, "%"});
    return std::any_of(skipped_.begin(), skipped_.end(), [&](std::string_view value) {
      return value.find(reference) != std::string_view::npos;
    });
  }

 private:
  std::set<std::string_view> names_;
  std::vector<std::string_view> skipped_;
};

void unknownKey(const Inspection& inspection, Report& report) {
  if (!inspection.knowsAllKeys()) return;
  const ReferencedNames referenced(inspection);
  const std::vector<std::string_view> candidates = settableKeys();
  int unknown = 0;
  for (const Entry& entry : inspection.run().entries) {
    const std::string& key = entry.key;
    const bool hasMark = key.starts_with(byteOrderMark);
    if (entry.isInclude || hasMark || key.starts_with(keys::includePrefixAtEndOfText)) continue;
    if (referenced.contain(key)) continue;
    const KeyInfo* info = findKey(key);
    if (info == nullptr) {
      const bool suggests = ++unknown <= maxSuggestions;
      const std::string_view nearest = suggests ? nearestName(key, candidates) : "";
      report(entry.at,
             concat({"neither the launcher nor a reference reads ", shown(key), didYouMean(nearest),
                     "; it has no effect: remove it, or refer to it"}));
    } else if (info->use == KeyUse::launcher) {
      report(entry.at, concat({"the launcher sets ", shown(key),
                               " by itself; this value is not used: remove the line"}));
    }
  }
}

void emptyValue(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    if (!entry.value.empty() || entry.skipped) continue;
    const KeyInfo* info = findKey(entry.key);
    if (info == nullptr || info->whenEmpty == nullptr) continue;
    if (!entry.written.empty() || inspection.entryOf(entry.key) != &entry) {
      continue;
    }
    report.fatalIf(info->fatalWhenEmpty && inspection.startsJvm(), entry.at,
                   concat({"an empty value is not the same as none: it ", info->whenEmpty,
                           "; remove the line, or give a value"}));
  }
}

/// The files and lines in which a key is defined, in the order of reading, without global.kvf.
std::map<std::string, std::vector<const Entry*>> entriesByKey(const Inspection& inspection) {
  std::map<std::string, std::vector<const Entry*>> byKey;
  for (const Entry& entry : inspection.run().entries) {
    if (entry.isInclude || entry.skipped || entry.global) continue;
    byKey[entry.key].push_back(&entry);
  }
  return byKey;
}

/// True for "key=%key% more", which replaces nothing.
bool appends(const Entry& entry) {
  return std::any_of(
      entry.references.begin(), entry.references.end(), [&](const Reference& reference) {
        return reference.name == entry.key && (reference.source == VariableSource::entries ||
                                               reference.source == VariableSource::context);
      });
}

void duplicateKey(const Inspection& inspection, Report& report) {
  for (const auto& [key, entries] : entriesByKey(inspection)) {
    for (std::size_t i = 1; i < entries.size(); ++i) {
      const Entry& earlier = *entries[i - 1];
      const Entry& later = *entries[i];
      if (earlier.at.file != later.at.file || earlier.at == later.at || appends(later)) continue;
      report(later.at, concat({shown(key), " is defined in line ", std::to_string(earlier.at.line),
                               " already, whose value ", shown(earlier.value),
                               " it replaces: keep one of them"}));
    }
  }
}

/// True for a line that is read twice, since its file is included twice.
bool isSameLine(const Inspection& inspection, const Entry& a, const Entry& b) {
  return a.at.line == b.at.line && a.value == b.value &&
         inspection.fileOf(a.at).name == inspection.fileOf(b.at).name;
}

void overriddenKey(const Inspection& inspection, Report& report) {
  for (const auto& [key, entries] : entriesByKey(inspection)) {
    for (std::size_t i = 1; i < entries.size(); ++i) {
      const Entry& earlier = *entries[i - 1];
      const Entry& later = *entries[i];
      if (earlier.at.file == later.at.file || isSameLine(inspection, earlier, later)) continue;
      if (appends(later)) continue;
      report(later.at, concat({shown(key), " replaces the value ", shown(earlier.value), " of ",
                               inspection.nameOf(earlier.at),
                               "; if that is meant, say so with # kvf: allow overridden-key"}));
    }
  }
  for (const Entry& entry : inspection.run().entries) {
    if (!entry.global || entry.isInclude || entry.skipped) continue;
    if (inspection.isFromGlobalFile(entry.key)) continue;
    if (inspection.entryOf(entry.key) == nullptr) continue;
    report(
        entry.at,
        concat(
            {shown(entry.key), " has a value in ",
             inspection.nameOf(inspection.positionOf(entry.key)), ", so that this one is not used",
             !entry.variable().empty() ? " as a property, though the environment does get it" : "",
             ": remove one of them"}));
  }
}

constexpr Rule rules[] = {
    {.id = "unknown-key",
     .severity = Severity::warning,
     .summary = "a key that nothing reads",
     .explanation =
         "The launcher takes any key and says nothing about one that it does not know. A key is "
         "known when the launcher reads it or when a value refers to it as %KEY%.",
     .example = {.lines = "java.heap.size.maximum=512m"},
     .remedy = {.lines = "java.heap.size.max=512m"},
     .check = unknownKey},
    {.id = "empty-value",
     .severity = Severity::warning,
     .summary = "an empty value where that hides another source",
     .explanation = "Most keys with an empty value count as set: an empty class path hides "
                    "CLASSPATH, an empty heap size gives the bare option -Xmx.",
     .example = {.lines = "java.library.path="},
     .remedy = {.note = "Remove the line."},
     .check = emptyValue},
    {.id = "duplicate-key",
     .severity = Severity::warning,
     .summary = "a key that is defined twice in one file",
     .explanation = "The later line wins; the earlier one counts for references between the two.",
     .example = {.lines = "java.heap.size.max=1g\njava.heap.size.max=2g"},
     .remedy = {.note = "Keep one of them.", .lines = "java.heap.size.max=2g"},
     .check = duplicateKey},
    {.id = "overridden-key",
     .severity = Severity::warning,
     .summary = "a key that is defined in two files",
     .explanation = "An include stands for its entries at that place: it replaces what was defined "
                    "before it, and is replaced by what follows. global.kvf supplies only what is "
                    "absent or empty. An exported variable is different: the environment gets the "
                    "value that was read last, even if that was in global.kvf.",
     .example = {.lines = "java.heap.size.max=1g\nvelox.include.kvf=%kvf.file.dir%/defaults.kvf",
                 .files = {{.path = "defaults.kvf", .content = "java.heap.size.max=2g\n"}}},
     .remedy = {.note = "Allow the replacement with a comment, where it happens.",
                .lines = "velox.include.kvf=%kvf.file.dir%/defaults.kvf\n# kvf: allow "
                         "overridden-key\njava.heap.size.max=1g",
                .files = {{.path = "defaults.kvf", .content = "java.heap.size.max=2g\n"}}},
     .check = overriddenKey},
};

}  // namespace

std::span<const Rule> keyRules() {
  return rules;
}
