#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "foundation/PropertyKeys.h"
#include "kvf/rules/EntryText.h"
#include "kvf/rules/Keys.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view escapeAdvice =
    "write a literal percent sign with two backslashes, \\\\%";

bool looksLikeName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.' || c == '-';
  });
}

bool looksLikeEnvironment(std::string_view name) {
  return std::all_of(name.begin(), name.end(), [](char c) {
    return std::isupper(static_cast<unsigned char>(c)) != 0 ||
           std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '_';
  });
}

/// Read by the outer run: what it exports, includes and records. Everything else is read again by
/// the inner run, which sees the exported variables.
bool countsInOuterRun(const Entry& entry) {
  return entry.isInclude || entry.exported || entry.key == keys::processIdFile;
}

/// Of a reference in the value as it is written.
Position placeOf(const Inspection& inspection, const Entry& entry, std::string_view name) {
  return EntryText(inspection, entry).placeOf(concat({"%", name, "%"}));
}

/// Calls visit(definition, reference) where a reference of the launch that counts was replaced.
template <class Visit>
void forEachReference(const Inspection& inspection, Visit&& visit) {
  for (const Entry& entry : inspection.run().entries) {
    if (inspection.inner && !entry.variable().empty()) continue;
    for (const Reference& reference : entry.references) visit(entry, reference);
  }
  if (!inspection.inner) return;
  for (const Entry& entry : inspection.outer.entries) {
    if (!countsInOuterRun(entry)) continue;
    for (const Reference& reference : entry.references) visit(entry, reference);
  }
}

/// The keys of entries that were skipped.
std::set<std::string_view> skippedKeys(const Inspection& inspection) {
  std::set<std::string_view> keys;
  for (const Entry& entry : inspection.run().entries) {
    if (entry.skipped) keys.insert(entry.key);
  }
  return keys;
}

/// Calls visit(definition, reference) for those that resolve to nothing.
template <class Visit>
void forEachUnresolved(const Inspection& inspection, Visit&& visit) {
  const std::set<std::string_view> skipped = skippedKeys(inspection);
  const bool knowsAllKeys = inspection.knowsAllKeys();
  forEachReference(inspection, [&](const Entry& entry, const Reference& reference) {
    const bool again = reference.inReplacement || reference.whileExporting;
    if (reference.source != VariableSource::nothing || again) return;
    // It may come from a file that could not be read.
    const bool mayBeKey = looksLikeName(reference.name) && !knowsAllKeys;
    if (!mayBeKey && !skipped.contains(reference.name)) visit(entry, reference);
  });
}

/// A line that defines the name, which has no value here; null: none does.
const Entry* otherEntry(const Inspection& inspection, const Entry& entry, std::string_view name) {
  for (const std::string_view prefix :
       {std::string_view(), std::string_view(keys::environmentPrefix)}) {
    const auto found = inspection.run().lastInFiles.find(concat({prefix, name}));
    if (found == inspection.run().lastInFiles.end()) continue;
    const Entry& later = inspection.run().entries[found->second];
    if (later.at != entry.at) return &later;
  }
  return nullptr;
}

/// How many includes lead from the file that both lines come from to that of the second.
std::size_t levelsBelow(const Inspection& inspection, const Position& one, const Position& other) {
  std::map<int, std::size_t> levels;
  for (std::optional<Position> at = other; at; at = inspection.fileOf(*at).includedAt)
    levels.emplace(at->file, levels.size());
  for (std::optional<Position> at = one; at; at = inspection.fileOf(*at).includedAt)
    if (const auto common = levels.find(at->file); common != levels.end()) return common->second;
  return 0;
}

/// True when another line defines the name, which is then reported.
bool reportsOrder(const Inspection& inspection, const Entry& entry, const Reference& reference,
                  Report& report) {
  const Entry* other = otherEntry(inspection, entry, reference.name);
  if (other == nullptr) return false;
  const std::string name = concat({"%", reference.name, "%"});
  const std::string definition = inspection.nameOf(other->at);
  const bool isTooFar = levelsBelow(inspection, other->at, entry.at) > 1;
  report(placeOf(inspection, entry, reference.name),
         isTooFar
             ? concat({name, " is defined in ", definition, ", but a file sees its own ",
                       "entries and those of the file that includes it, not those further ",
                       "out, and it disappears from the value: write ", reference.name, "=", name,
                       " above ", inspection.nameOf(*inspection.fileOf(entry.at).includedAt)})
             : concat({name, " is defined only below, in ", definition,
                       ", and disappears from the value: move that line above this one"}));
  return true;
}

/// A name that the launcher sets, spelt differently: KVF_FILE_DIR, kvf.file.path.
std::string_view builtInLike(std::string_view name) {
  std::string plain(name);
  std::transform(plain.begin(), plain.end(), plain.begin(), [](unsigned char c) {
    return c == '_' || c == '-' ? '.' : static_cast<char>(std::tolower(c));
  });
  if (plain.starts_with("kvf.")) return keys::fileDirectory;
  const std::string_view nearest = nearestName(plain, {keys::fileDirectory, keys::pathSeparator});
  return plain.find('.') == std::string::npos ? std::string_view() : nearest;
}

void unresolvedReference(const Inspection& inspection, Report& report) {
  constexpr int maxSuggestions = 20;
  int unresolved = 0;
  forEachUnresolved(inspection, [&](const Entry& entry, const Reference& reference) {
    if (!looksLikeName(reference.name) || looksLikeEnvironment(reference.name)) return;
    if (reportsOrder(inspection, entry, reference, report)) return;
    std::vector<std::string_view> known;
    if (const std::string_view builtIn = builtInLike(reference.name); !builtIn.empty()) {
      known.push_back(builtIn);
    } else if (++unresolved <= maxSuggestions) {
      for (const Entry& other : inspection.run().entries) {
        if (&other != &entry) known.emplace_back(other.key);
      }
    }
    report(
        placeOf(inspection, entry, reference.name),
        concat({"%", reference.name, "% is defined nowhere before this line",
                didYouMean(known.size() == 1 ? known.front() : nearestName(reference.name, known)),
                ", and disappears from the value: define it above, or with --propVar ",
                reference.name, "=VALUE"}));
  });
}

void unsetVariable(const Inspection& inspection, Report& report) {
  forEachUnresolved(inspection, [&](const Entry& entry, const Reference& reference) {
    if (!looksLikeName(reference.name) || !looksLikeEnvironment(reference.name)) return;
    if (reportsOrder(inspection, entry, reference, report)) return;
    report(placeOf(inspection, entry, reference.name),
           concat({"%", reference.name, "% is not set in the environment now, nor defined before ",
                   "this line", didYouMean(builtInLike(reference.name)), "; unless the ",
                   "launch has it, it disappears from the value: set it, or give --propVar ",
                   reference.name, "=VALUE"}));
  });
}

/// True when no two percent signs of the value have a name between them, so that they cannot belong
/// to another reference.
bool hasNoOtherReference(std::string_view raw) {
  std::size_t sign = raw.find('%');
  while (sign != std::string_view::npos) {
    const std::size_t next = raw.find('%', sign + 1);
    if (next == std::string_view::npos) return true;
    const std::string_view between = raw.substr(sign + 1, next - sign - 1);
    if (between.empty() || looksLikeName(between)) return false;
    sign = next;
  }
  return true;
}

/// True for text that does not look like a name: "100% of all, 50%".
bool isPlainText(std::string_view between) {
  constexpr std::string_view blanks = " \t";
  if (between.empty()) return false;
  return blanks.find(between.front()) != std::string_view::npos ||
         blanks.find(between.back()) != std::string_view::npos;
}

/// Escapes both signs, where they cannot be meant as a reference.
std::vector<Edit> escapedPair(const EntryText& text, const Entry& entry, std::string_view name) {
  const auto at = text.find(concat({"%", name, "%"}));
  const bool isEscaped = text.raw().find("\\%") != std::string_view::npos;
  if (!at || isEscaped || !isPlainText(name) || !hasNoOtherReference(text.raw())) return {};
  // A key that is to be renamed, or whose value is put into others, needs more than this.
  if (findKey(entry.key) == nullptr) return {};
  // What is exported is read twice.
  const char* escape = entry.variable().empty() ? R"(\\)" : R"(\\\\)";
  return {text.insert(*at, escape), text.insert(*at + 1 + name.size(), escape)};
}

void percentPair(const Inspection& inspection, Report& report) {
  forEachUnresolved(inspection, [&](const Entry& entry, const Reference& reference) {
    if (looksLikeName(reference.name)) return;
    report(placeOf(inspection, entry, reference.name),
           concat({"the text between two percent signs, ", shown("%" + reference.name + "%"),
                   ", is read as a reference and disappears: ", escapeAdvice}))
        .fix = escapedPair({inspection, entry}, entry, reference.name);
  });
}

/// The name after a percent sign that has no second one, when that name has a value.
std::string openReference(const Inspection& inspection, std::string_view value) {
  const std::size_t sign = value.rfind('%');
  if (sign == std::string_view::npos) return {};
  const std::string_view rest = value.substr(sign + 1);
  const auto end = std::find_if(rest.begin(), rest.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_' && c != '.' && c != '-';
  });
  const std::string name(rest.begin(), end);
  const bool isVariable = name.size() > 2 && looksLikeEnvironment(name) && end != rest.end();
  const bool isKnown = name == keys::fileDirectory || name == keys::pathSeparator ||
                       inspection.run().lastInFiles.contains(name);
  return isKnown || (isVariable && *end == '/') ? name : std::string();
}

void openReferenceRule(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    if (entry.skipped) continue;
    const std::string name = openReference(inspection, entry.value);
    const std::size_t at = name.empty() ? std::string::npos : entry.written.rfind("%" + name);
    const bool isEscaped = at != 0 && at != std::string::npos && entry.written[at - 1] == '\\';
    if (at == std::string::npos || isEscaped) continue;
    const EntryText text(inspection, entry);
    const std::string open = "%" + name;
    // The percent sign that closes it came from a value.
    if (entry.written.substr(at + open.size()).starts_with('%')) continue;
    Finding& finding = report(
        text.placeOf(open),
        concat({"the reference ", open, " is not closed and stays as it is: write ", open, "%"}));
    if (const auto start = text.find(open)) finding.fix = {text.insert(*start + open.size(), "%")};
  }
}

void tooManyReferences(const Inspection& inspection, Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::substitution)) {
    report.fatal(
        failure.at,
        concat({"the launch ends here with ", shown(failure.message),
                ": split the value into several keys, or write percent signs as ", "\\\\%"}),
        failure.message);
  }
}

/// The entry at that position.
std::string_view keyAt(const Inspection& inspection, const Position& at) {
  for (const Entry& entry : inspection.run().entries) {
    if (entry.at == at) return entry.key;
  }
  return {};
}

void tooMuchText(const Inspection& inspection, Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::expansion)) {
    report.harmless(
        failure.at,
        concat({"the references up to here add up to more than 32 MiB of text, so that ",
                shown(keyAt(inspection, failure.at)), " was not examined; the launcher keeps ",
                "all of it in memory, or ends where that is too little: refer to shorter values"}));
  }
}

void referenceAgain(const Inspection& inspection, Report& report) {
  forEachReference(inspection, [&](const Entry& entry, const Reference& reference) {
    if (!reference.inReplacement && !reference.whileExporting) return;
    if (reference.whileExporting) {
      report(entry.at,
             concat({"an exported value is substituted a second time, where ",
                     shown("%" + reference.name + "%"), " becomes ", shown(reference.replacement),
                     ": write four backslashes before a percent sign that is meant as such, ",
                     R"(\\\\%)"}));
      return;
    }
    report(
        entry.at,
        concat({"%", reference.name, "% is found inside the replacement of an earlier reference, ",
                "and the reference that was meant stays: rename the variable, or take the ",
                "percent sign out of the other one's value"}));
  });
}

/// Logins and service managers set these for every program, so that an entry of that name is never
/// used as a default.
bool isAlwaysSet(std::string_view variable) {
  constexpr std::string_view names[] = {"HOME", "HOSTNAME", "LANG",  "LOGNAME", "MAIL", "OLDPWD",
                                        "PATH", "PWD",      "SHELL", "SHLVL",   "TERM", "USER"};
  return std::find(std::begin(names), std::end(names), variable) != std::end(names);
}

void environmentWins(const Inspection& inspection, Report& report) {
  forEachReference(inspection, [&](const Entry& entry, const Reference& reference) {
    if (reference.source != VariableSource::environment || !isAlwaysSet(reference.name)) return;
    const auto found = inspection.run().lastInFiles.find(reference.name);
    if (found == inspection.run().lastInFiles.end()) return;
    const Entry* own = &inspection.run().entries[found->second];
    if (own->value == reference.replacement) return;
    report(placeOf(inspection, entry, reference.name),
           concat({"%", reference.name, "% is ", shown(reference.replacement),
                   " from the environment, not ", shown(own->value), " of ",
                   inspection.nameOf(own->at), ": the environment comes first, choose another ",
                   "name"}));
  });
}

constexpr auto manyReferences = repeated<101>("a=b\njava.property.a=", "%a%");

constexpr Rule rules[] = {
    {.id = "unresolved-reference",
     .severity = Severity::warning,
     .summary = "a reference that resolves to nothing",
     .explanation = "A name is looked for among --propVar, the environment, the entries above and "
                    "those of the including file. A name that is not found is replaced by nothing. "
                    "The launch may still define it with a --propVar that this check did not get.",
     .example = {.lines = "java.property.home=%acme.home%/data"},
     .remedy = {.lines = "acme.home=/opt/acme\njava.property.home=%acme.home%/data"},
     .check = unresolvedReference},
    {.id = "unset-variable",
     .severity = Severity::warning,
     .summary = "a variable that is not set in the environment now",
     .explanation = "The same for a name in capitals, like those of environment variables. The "
                    "environment of the launch counts, which may differ from that of the check.",
     .example = {.lines = "java.property.home=%ACME_HOME%/data"},
     .remedy = {.note = "Set it for the check as for the launch, or allow it.",
                .lines = "# kvf: allow unset-variable\njava.property.home=%ACME_HOME%/data"},
     .check = unsetVariable},
    {.id = "percent-pair",
     .severity = Severity::error,
     .summary = "two percent signs that swallow the text between them",
     .explanation = "Everything between two percent signs is read as a name. When nothing has that "
                    "name, it disappears with both signs.",
     .example = {.lines = "application.args=100% sure, 5% unsure"},
     .remedy = {.lines = R"(application.args=100\\% sure, 5\\% unsure)"},
     .check = percentPair},
    {.id = "open-reference",
     .severity = Severity::error,
     .summary = "a reference without its second percent sign",
     .explanation = "A single percent sign stays as it is, which is right for 50% but not for the "
                    "name of a variable.",
     .example = {.lines = "java.property.data=%kvf.file.dir/data"},
     .remedy = {.lines = "java.property.data=%kvf.file.dir%/data"},
     .check = openReferenceRule},
    {.id = "too-many-references",
     .severity = Severity::error,
     .summary = "more than 100 references in one value",
     .explanation = "The launch ends with a message.",
     .example = {.note = "A value with 101 references.", .lines = manyReferences.data()},
     .remedy = {.note = "Split the value into several keys that refer to each other.",
                .lines = "a=%JAVA_HOME%%JAVA_HOME%\njava.property.a=%a%%a%"},
     .check = tooManyReferences},
    {.id = "too-much-text",
     .severity = Severity::error,
     .summary = "references that add up to more than 32 MiB of text",
     .explanation =
         "Lines that refer to each other several times grow fast. The launcher keeps every value "
         "in memory; this check goes on without the value that exceeds the limit.",
     .example = {.lines = "a=0123456789abcdef0123456789abcdef\nb=%a%%a%%a%%a%%a%%a%%a%%a%\nc=%b%%b%"
                          "%b%%b%%b%%b%%b%%b%\nd=%c%%c%%c%%c%%c%%c%%c%%c%\ne=%d%%d%%d%%d%%d%%d%%d%%"
                          "d%\nf=%e%%e%%e%%e%%e%%e%%e%%e%\ng=%f%%f%%f%%f%%f%%f%%f%%f%\nh=%g%%g%%g%%"
                          "g%%g%%g%%g%%g%\njava.property.a=%h%"},
     .remedy = {.note = "Refer to shorter values, or less often."},
     .check = tooMuchText},
    {.id = "reference-again",
     .severity = Severity::warning,
     .summary = "a reference that comes from a replacement",
     .explanation = "References are replaced one after the other, and each search begins at the "
                    "start of the text, so that a percent sign inside an earlier replacement may "
                    "be read as part of a reference. An exported value is substituted twice, so "
                    "that an escaped percent sign may open a reference.",
     .example = {.lines = R"(velox.env.FORMAT=\\%d\\%)"},
     .remedy = {.lines = R"(velox.env.FORMAT=\\\\%d\\\\%)"},
     .check = referenceAgain},
    {.id = "environment-wins",
     .severity = Severity::warning,
     .summary = "a key with the name of a variable that is always set",
     .explanation = "A reference looks at the environment before the entries of the file. That "
                    "makes an entry a default, such as HEAP=512m for %HEAP%; but HOME, PATH, USER "
                    "and the like are always set, so that the entry never counts.",
     .example = {.lines = "HOME=/opt/acme\njava.property.data=%HOME%/data"},
     .remedy = {.note = "Give the key a name that no environment has.",
                .lines = "acme.home=/opt/acme\njava.property.data=%acme.home%/data"},
     .check = environmentWins},
};

}  // namespace

std::span<const Rule> variableRules() {
  return rules;
}
