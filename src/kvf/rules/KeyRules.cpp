#include <algorithm>
#include <cctype>
#include <deque>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "foundation/PropertyKeys.h"
#include "javarun/JavaParameterParser.h"
#include "kvf/rules/EntryText.h"
#include "kvf/rules/Keys.h"
#include "kvf/rules/Rule.h"
#include "kvf/rules/ValueSigns.h"
#include "kvf/text/Text.h"

namespace {

/// Looking for the nearest name is slow; a file full of unknown ones does not need it.
constexpr int maxSuggestions = 100;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// One name for each file, however an include writes it.
std::string canonicalName(const Inspection& inspection, const SourceFile& file) {
  std::error_code error;
  const std::string path = inspection.atLauncher(file.name);
  const std::string name = std::filesystem::weakly_canonical(path, error).string();
  return error ? path : name;
}

/// The names that the values of a launch refer to.
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

/// The family that the first words of the key were probably meant to be, with the rest of the key:
/// java.property.mode for java.properties.mode. Empty: none.
std::string familyMemberLike(std::string_view key) {
  for (const std::string_view family :
       {std::string_view(keys::javaPropertyPrefix), std::string_view(keys::environmentPrefix)}) {
    const std::size_t first = key.find('.');
    const std::size_t second = first == std::string_view::npos ? first : key.find('.', first + 1);
    if (second == std::string_view::npos || second + 1 == key.size()) continue;
    const std::string_view head = key.substr(0, second + 1);
    if (!nearestName(head, {family}).empty()) return concat({family, key.substr(second + 1)});
  }
  return {};
}

/// How to write the key so that something reads it.
std::string adviceFor(std::string_view key) {
  const bool isVariable =
      key.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") == std::string_view::npos;
  if (isVariable) return concat({"for the environment write ", keys::environmentPrefix, key});
  if (key.find('.') == std::string_view::npos) return "remove it, or refer to it";
  return concat({"for a system property write ", keys::javaPropertyPrefix, key});
}

/// Other rules report lines that do not look like entries.
bool isForeignLine(std::string_view key) {
  return key.starts_with('-') || key.starts_with(';') || key.starts_with("//");
}

/// What the launches refer to, by the canonical names of the files that each reads.
class References {
 public:
  explicit References(std::span<const Inspection> inspections) {
    for (const Inspection& inspection : inspections) {
      ReferencedNames& names = names_.emplace_back(inspection);
      std::set<std::string> files;
      for (const SourceFile& file : inspection.run().files)
        files.insert(canonicalName(inspection, file));
      for (const std::string& file : files) byFile_[file].push_back(&names);
    }
  }

  /// Those of every launch that reads the file.
  [[nodiscard]] const std::vector<const ReferencedNames*>& of(const Inspection& inspection,
                                                              const SourceFile& file) const {
    return byFile_.at(canonicalName(inspection, file));
  }

 private:
  std::deque<ReferencedNames> names_;
  std::map<std::string, std::vector<const ReferencedNames*>> byFile_;
};

/// True for a name that looks like a parked line, which nobody wants switched on: another first
/// character, more of them at the end, or a digit or sign that the other lacks.
bool looksParked(std::string_view name, std::string_view meant) {
  const auto isOdd = [](char c) {
    return std::isalpha(static_cast<unsigned char>(c)) == 0 && c != '.';
  };
  return name.front() != meant.front() || name.starts_with(meant) || isOdd(name.back()) ||
         std::count_if(name.begin(), name.end(), isOdd) >
             std::count_if(meant.begin(), meant.end(), isOdd);
}

/// True where a typing mistake is all that keeps the key from being the other one, of which its
/// value is one.
bool isSlipOf(const std::string& meant, const Inspection& inspection, const Entry& entry) {
  std::string_view name = entry.key;
  std::string_view other = meant;
  const KeyInfo* info = findKey(meant);
  if (info == nullptr) return false;
  if (info->rest != nullptr) {
    // The user's part is the same; the dot in front of it would hide what is added to the family.
    other = std::string_view(info->name).substr(0, std::string_view(info->name).size() - 1);
    name.remove_suffix(std::min(name.size() - 1, meant.size() - other.size()));
  }
  return !looksParked(name, other) && suits(inspection, meant, entry.value);
}

/// Gives the value to another key, unless that has one already.
std::vector<Edit> renamedTo(const std::string& key, const Inspection& inspection,
                            const EntryText& text) {
  const bool isFree = !key.empty() && !key.ends_with('.') && !inspection.value(key.c_str());
  return isFree && text.hasPlainKey() ? std::vector{text.replaceKey(key)} : std::vector<Edit>();
}

struct UnknownKey {
  const Entry* entry;
  std::string nearest;  ///< of the names that are known; empty: none
  std::string meant;    ///< without a doubt; empty: none
};

void unknownKeysOf(const Inspection& inspection, const References& references, Report& report) {
  std::vector<UnknownKey> found;
  std::map<std::string, int> wishes;
  const std::vector<std::string_view> candidates = settableKeys();
  std::vector<const std::vector<const ReferencedNames*>*> referenced;
  for (const SourceFile& file : inspection.run().files)
    referenced.push_back(&references.of(inspection, file));
  int unknown = 0;
  for (const Entry& entry : inspection.run().entries) {
    const std::string& key = entry.key;
    const bool hasMark = key.starts_with(byteOrderMark);
    if (entry.isInclude || hasMark || key.starts_with(keys::includePrefixAtEndOfText)) continue;
    const auto& readers = *referenced[static_cast<std::size_t>(entry.at.file)];
    const auto refers = [&](const ReferencedNames* names) { return names->contain(key); };
    if (std::any_of(readers.begin(), readers.end(), refers)) continue;
    const KeyInfo* info = findKey(key);
    if (info != nullptr && info->use != KeyUse::launcher) continue;
    // These stand for arguments that the command line does not have; 0 is the program.
    if (info != nullptr && info->name == std::string_view(keys::commandLineArgumentPrefix) &&
        !key.ends_with(".0"))
      continue;
    if (info != nullptr) {
      report(entry.at, concat({"the launcher sets ", shown(key),
                               " by itself; this value is not used: remove the line"}));
      continue;
    }
    if (isForeignLine(key)) continue;
    std::string nearest = familyMemberLike(key);
    std::string meant = nearest;
    if (nearest.empty() && ++unknown <= maxSuggestions) {
      nearest = nearestName(key, candidates);
      meant = misspeltName(key, candidates);
    }
    // Not every file that includes this one has to use all of it.
    if (nearest.empty() && inspection.fileOf(entry.at).includedAt) continue;
    ++wishes[meant];
    found.push_back({&entry, nearest, meant});
  }
  for (const auto& [entry, nearest, meant] : found) {
    const EntryText text(inspection, *entry);
    Finding& finding = report(
        text.placeOfKey(), concat({"neither the launcher nor a reference reads ", shown(entry->key),
                                   didYouMean(nearest), "; it has no effect",
                                   nearest.empty() ? ": " + adviceFor(entry->key) : ""}));
    // Of several one would replace the other.
    if (wishes[meant] == 1 && isSlipOf(meant, inspection, *entry))
      finding.fix = renamedTo(meant, inspection, text);
  }
}

void unknownKey(std::span<const Inspection> inspections, Report& report) {
  const References references(inspections);
  for (const Inspection& inspection : inspections) {
    if (!inspection.knowsAllKeys()) continue;
    report.turnTo(inspection);
    unknownKeysOf(inspection, references, report);
  }
}

/// What a properties file has in the place of an option's first characters.
struct KeyForOption {
  std::size_t option;  ///< how many characters
  std::string key;     ///< with what follows it
};

KeyForOption keyForOption(std::string_view line) {
  for (const javaparser::KeyOption& setting :
       {javaparser::maxHeapSizeOption, javaparser::initialHeapSizeOption,
        javaparser::minHeapSizeOption, javaparser::threadStackSizeOption}) {
    const std::string_view prefix = setting.prefix;
    if (line.starts_with(prefix)) return {prefix.size(), concat({setting.key, "="})};
  }
  if (line.starts_with("-D")) return {2, std::string(keys::javaPropertyPrefix)};
  for (const std::string_view name : {"-cp", "-classpath", "--class-path", "-jar"}) {
    const bool isName = line.starts_with(name) && line.size() > name.size();
    if (isName && line[name.size()] == ' ')
      return {name.size() + 1, concat({keys::classPathExtended, "="})};
  }
  return {0, concat({keys::extendedProperties, "="})};
}

/// Writes the option with its key, if it is a flag, a size or a property, the only option of that
/// key.
std::vector<Edit> withKey(std::string_view line, const Position& at, const Inspection& inspection) {
  const std::string_view text = inspection.fileOf(at).line(at.line);
  const auto [option, key] = keyForOption(line);
  const bool isProperty = line.starts_with("-D");
  const bool isOption = isProperty || line.starts_with("-X");
  const bool isPlain = line.find_first_of(" \t\\\"%") == std::string_view::npos &&
                       at.endLine <= at.line &&
                       (!isProperty || line.find('=') != std::string_view::npos);
  const std::string name = isProperty ? concat({key, line.substr(2, line.find('=') - 2)})
                                      : key.substr(0, key.size() - 1);
  if (!isOption || !isPlain || inspection.value(name.c_str())) return {};
  const std::size_t column = text.size() - line.size() + 1;
  return {{{at.file, at.line, column, at.line, column + option}, key}};
}

/// Calls visit(line, at) for the lines that are entries, or none, whose first characters are these.
template <class Visit>
void forEachLineWith(const Inspection& inspection, std::string_view start, Visit&& visit) {
  const auto look = [&](const Position& at) {
    std::string_view line = inspection.fileOf(at).line(at.line);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (line.starts_with(start)) visit(line, at);
  };
  for (const Position& at : inspection.run().droppedLines) look(at);
  for (const Entry& entry : inspection.run().entries) look(entry.at);
}

void optionLine(const Inspection& inspection, Report& report) {
  std::map<std::string, int> uses;
  forEachLineWith(inspection, "-", [&](std::string_view line, const Position& /*at*/) {
    ++uses[keyForOption(line).key];
  });
  forEachLineWith(inspection, "-", [&](std::string_view line, const Position& at) {
    const auto [option, key] = keyForOption(line);
    Finding& finding =
        report(at, concat({"an option is not a line of its own, and nobody reads this one: write ",
                           printable(concat({key, line.substr(option)}))}));
    // The later one would replace the earlier.
    if (uses[key] == 1 || line.starts_with("-D")) finding.fix = withKey(line, at, inspection);
  });
}

void foreignComment(const Inspection& inspection, Report& report) {
  for (const std::string_view mark : {";", "//"}) {
    forEachLineWith(inspection, mark, [&](std::string_view line, const Position& at) {
      Finding& finding = report(
          at, concat({mark, " does not begin a comment; the line is an entry that nobody reads: ",
                      "begin it with #"}));
      const bool isContinued = at.endLine > at.line || line.ends_with('\\');
      const std::size_t column = inspection.fileOf(at).line(at.line).size() - line.size() + 1;
      if (!isContinued)
        finding.fix = {{{at.file, at.line, column, at.line, column + mark.size()}, "#"}};
    });
  }
}

void propertyName(const Inspection& inspection, Report& report) {
  const std::string prefix = concat({keys::javaPropertyPrefix, "-D"});
  for (const Entry& entry : inspection.run().entries) {
    if (!entry.key.starts_with(prefix)) continue;
    const std::string name = entry.key.substr(prefix.size());
    const EntryText text(inspection, entry);
    report(text.placeOfKey(), concat({"the property is called ", shown("-D" + name), ": write ",
                                      keys::javaPropertyPrefix, name}))
        .fix = renamedTo(concat({keys::javaPropertyPrefix, name}), inspection, text);
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

/// True when the value is made from the one that the key had before: "x=%x% more".
bool takesUpEarlier(const Entry& entry) {
  const std::string_view variable = entry.variable();
  return std::any_of(entry.references.begin(), entry.references.end(),
                     [&](const Reference& reference) {
                       const bool isEntry = reference.source == VariableSource::entries ||
                                            reference.source == VariableSource::context;
                       return (reference.name == entry.key && isEntry) ||
                              (!variable.empty() && reference.name == variable);
                     });
}

/// The definitions whose values others take up before a later one replaces them.
std::set<const Entry*> usedMeanwhile(const Inspection& inspection) {
  std::map<std::string_view, const Entry*> latest;
  std::set<const Entry*> used;
  for (const Entry& entry : inspection.run().entries) {
    for (const Reference& reference : entry.references) {
      const bool isEntry = reference.source == VariableSource::entries ||
                           reference.source == VariableSource::context;
      const auto definition = isEntry ? latest.find(reference.name) : latest.end();
      if (definition != latest.end()) used.insert(definition->second);
    }
    if (!entry.isInclude && !entry.skipped) latest[entry.key] = &entry;
  }
  return used;
}

void duplicateKey(const Inspection& inspection, Report& report) {
  const std::set<const Entry*> used = usedMeanwhile(inspection);
  for (const auto& [key, entries] : entriesByKey(inspection)) {
    for (std::size_t i = 1; i < entries.size(); ++i) {
      const Entry& earlier = *entries[i - 1];
      const Entry& later = *entries[i];
      if (earlier.at.file != later.at.file || earlier.at == later.at) continue;
      if (takesUpEarlier(later) || used.contains(&earlier)) continue;
      report(later.at, concat({shown(key), " is defined in line ", std::to_string(earlier.at.line),
                               " already, whose value ", shown(earlier.value),
                               " it replaces: keep one of them"}));
    }
  }
}

void overriddenKey(const Inspection& inspection, Report& report) {
  for (const auto& [key, entries] : entriesByKey(inspection)) {
    for (std::size_t i = 1; i < entries.size(); ++i) {
      const Entry& earlier = *entries[i - 1];
      const Entry& later = *entries[i];
      if (earlier.value == later.value || takesUpEarlier(later)) continue;
      if (!inspection.includes(earlier.at, later.at)) continue;
      report(later.at, concat({shown(key), " of this include replaces the value ",
                               shown(earlier.value), " of ", inspection.nameOf(earlier.at),
                               ": move the include up, or the line below it"}));
    }
  }
  for (const Entry& entry : inspection.run().entries) {
    if (!entry.global || entry.skipped || entry.variable().empty()) continue;
    const Entry* own = inspection.entryOf(entry.key);
    if (own == nullptr || own->global || own->value == entry.value) continue;
    report(entry.at, concat({"the environment gets this value of ", entry.variable(),
                             ", the property the one of ", inspection.nameOf(own->at),
                             ": remove one of them"}));
  }
}

constexpr Rule rules[] = {
    {.id = "unknown-key",
     .severity = Severity::warning,
     .summary = "a key that nothing reads",
     .explanation =
         "The launcher accepts any key and does not report one that it does not know. A key is "
         "known when the launcher reads it or when a value refers to it as %KEY%, also in another "
         "of the files that are checked together. What an include defines may be meant for other "
         "files: there a key is reported only when it is nearly one that the launcher knows.",
     .example = {.lines = "java.heap.size.maximum=512m"},
     .remedy = {.lines = "java.heap.size.max=512m"},
     .compare = unknownKey},
    {.id = "option-line",
     .severity = Severity::error,
     .summary = "an option of the JVM as a line of its own",
     .explanation = "A line is KEY=VALUE. One that begins with an option is dropped, or is an "
                    "entry whose key nobody reads.",
     .example = {.lines = "-Xmx512m"},
     .remedy = {.lines = "java.heap.size.max=512m"},
     .check = optionLine},
    {.id = "foreign-comment",
     .severity = Severity::warning,
     .summary = "a comment that begins with ; or //",
     .explanation = "Comments begin with # or !. Other lines are entries, or are dropped.",
     .example = {.lines = "; the heap\njava.heap.size.max=512m"},
     .remedy = {.lines = "# the heap\njava.heap.size.max=512m"},
     .check = foreignComment},
    {.id = "property-name",
     .severity = Severity::error,
     .summary = "a property's name with the -D of an option",
     .explanation = "java.property.NAME=VALUE becomes -DNAME=VALUE.",
     .example = {.lines = "java.property.-Dmode=fast"},
     .remedy = {.lines = "java.property.mode=fast"},
     .check = propertyName},
    {.id = "empty-value",
     .severity = Severity::warning,
     .summary = "an empty value that hides another source",
     .explanation = "Most keys with an empty value count as set: an empty class path hides "
                    "CLASSPATH, an empty heap size gives the bare option -Xmx.",
     .example = {.lines = "java.library.path="},
     .remedy = {.note = "Remove the line."},
     .check = emptyValue},
    {.id = "duplicate-key",
     .severity = Severity::warning,
     .summary = "a key that is defined twice in one file",
     .explanation = "The later line wins; the earlier one counts for references between the two, "
                    "so x=%x% more is fine, and so is one that is read before it changes.",
     .example = {.lines = "java.heap.size.max=1g\njava.heap.size.max=2g"},
     .remedy = {.note = "Keep one of them.", .lines = "java.heap.size.max=2g"},
     .check = duplicateKey},
    {.id = "overridden-key",
     .severity = Severity::warning,
     .summary = "a line whose value an include replaces",
     .explanation = "An include stands for its entries at that place: they replace what was "
                    "defined above, and are replaced by what follows. global.kvf supplies only "
                    "what is absent or empty; but for an exported variable the environment gets "
                    "the value that was read last, which is that of global.kvf.",
     .example = {.lines = "java.heap.size.max=1g\nvelox.include.kvf=%kvf.file.dir%/defaults.kvf",
                 .files = {{.path = "defaults.kvf", .content = "java.heap.size.max=2g\n"}}},
     .remedy = {.lines = "velox.include.kvf=%kvf.file.dir%/defaults.kvf\njava.heap.size.max=1g",
                .files = {{.path = "defaults.kvf", .content = "java.heap.size.max=2g\n"}}},
     .check = overriddenKey},
};

}  // namespace

std::span<const Rule> keyRules() {
  return rules;
}
