#include <algorithm>
#include <cctype>
#include <set>
#include <string>
#include <string_view>

#include "foundation/PropertyKeys.h"
#include "kvf/rules/Rules.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view escapeAdvice =
    "write a percent sign that is meant as such with two backslashes, \\\\%";

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
bool countsInOuterRun(const Definition& definition) {
  return definition.isInclude || definition.exported || definition.key == keys::processIdFile;
}

/// Calls visit(definition, reference) where a reference of the launch that counts was replaced.
template <class Visit>
void forEachReference(const Inspection& inspection, Visit&& visit) {
  for (const Definition& definition : inspection.run().definitions) {
    if (inspection.inner && !definition.variable().empty()) continue;
    for (const Reference& reference : definition.references) visit(definition, reference);
  }
  if (!inspection.inner) return;
  for (const Definition& definition : inspection.outer.definitions) {
    if (!countsInOuterRun(definition)) continue;
    for (const Reference& reference : definition.references) visit(definition, reference);
  }
}

/// The keys of entries that were passed over.
std::set<std::string_view> refusedKeys(const Inspection& inspection) {
  std::set<std::string_view> keys;
  for (const Definition& definition : inspection.run().definitions) {
    if (definition.refused) keys.insert(definition.key);
  }
  return keys;
}

/// Calls visit(definition, reference) for those that resolve to nothing.
template <class Visit>
void forEachUnresolved(const Inspection& inspection, Visit&& visit) {
  const std::set<std::string_view> refused = refusedKeys(inspection);
  const bool knowsAllKeys = inspection.knowsAllKeys();
  forEachReference(inspection, [&](const Definition& definition, const Reference& reference) {
    const bool again = reference.inReplacement || reference.whileExporting;
    if (reference.source != VariableSource::nothing || again) return;
    // It may come from what could not be read.
    const bool mayBeKey = looksLikeName(reference.name) && !knowsAllKeys;
    if (!mayBeKey && !refused.contains(reference.name)) visit(definition, reference);
  });
}

void unresolvedReference(const Inspection& inspection, const Report& report) {
  constexpr int mostSuggestions = 20;
  int unresolved = 0;
  forEachUnresolved(inspection, [&](const Definition& definition, const Reference& reference) {
    if (!looksLikeName(reference.name) || looksLikeEnvironment(reference.name)) return;
    std::vector<std::string_view> known;
    if (++unresolved <= mostSuggestions) {
      for (const Definition& other : inspection.run().definitions) {
        if (&other != &definition) known.emplace_back(other.key);
      }
    }
    report(definition.at,
           concat({"%", reference.name, "% is defined nowhere before this line",
                   didYouMean(nearestName(reference.name, known)),
                   ", and disappears from the value: define it above, or with --propVar ",
                   reference.name, "=VALUE"}));
  });
}

void unsetVariable(const Inspection& inspection, const Report& report) {
  forEachUnresolved(inspection, [&](const Definition& definition, const Reference& reference) {
    if (!looksLikeName(reference.name) || !looksLikeEnvironment(reference.name)) return;
    report(definition.at,
           concat({"%", reference.name,
                   "% is not set in the environment now, nor defined before this line; unless the ",
                   "launch has it, it disappears from the value: set it, or give --propVar ",
                   reference.name, "=VALUE"}));
  });
}

void percentPair(const Inspection& inspection, const Report& report) {
  forEachUnresolved(inspection, [&](const Definition& definition, const Reference& reference) {
    if (looksLikeName(reference.name)) return;
    report(definition.at,
           concat({"the text between two percent signs, ", shown("%" + reference.name + "%"),
                   ", is taken for a reference and disappears: ", escapeAdvice}));
  });
}

void tooManyReferences(const Inspection& inspection, const Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::substitution)) {
    report.end(failure.at,
               concat({"the launch ends here with ", shown(failure.message),
                       ": split the value into several keys, or write percent signs as ", "\\\\%"}),
               failure.message);
  }
}

/// The entry that stands there.
std::string_view keyAt(const Inspection& inspection, const Position& at) {
  for (const Definition& definition : inspection.run().definitions) {
    if (definition.at == at) return definition.key;
  }
  return {};
}

void tooMuchText(const Inspection& inspection, const Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::expansion)) {
    report(failure.at,
           concat({"the references up to here bring more than 32 MiB of text, so that ",
                   shown(keyAt(inspection, failure.at)), " was not looked at; the launcher keeps ",
                   "all of it in memory, or ends without: refer to shorter values"}));
  }
}

void referenceAgain(const Inspection& inspection, const Report& report) {
  forEachReference(inspection, [&](const Definition& definition, const Reference& reference) {
    if (!reference.inReplacement && !reference.whileExporting) return;
    if (reference.whileExporting) {
      report(definition.at,
             concat({"an exported value is substituted a second time, where ",
                     shown("%" + reference.name + "%"), " becomes ", shown(reference.replacement),
                     ": write four backslashes before a percent sign that is meant as such, ",
                     R"(\\\\%)"}));
      return;
    }
    report(
        definition.at,
        concat({"%", reference.name, "% is found inside the replacement of an earlier reference, ",
                "and the reference that was meant stays: rename the variable, or take the ",
                "percent sign out of the other one's value"}));
  });
}

void environmentWins(const Inspection& inspection, const Report& report) {
  forEachReference(inspection, [&](const Definition& definition, const Reference& reference) {
    if (reference.source != VariableSource::environment) return;
    const auto found = inspection.run().lastInFiles.find(reference.name);
    if (found == inspection.run().lastInFiles.end()) return;
    const Definition* own = &inspection.run().definitions[found->second];
    if (own->value == reference.replacement) return;
    report(definition.at, concat({"%", reference.name, "% is ", shown(reference.replacement),
                                  " from the environment, not ", shown(own->value), " of ",
                                  inspection.nameOf(own->at),
                                  ": the environment comes first, choose another ", "name"}));
  });
}

constexpr Rule rules[] = {
    {"unresolved-reference", Severity::warning, "a reference that resolves to nothing",
     "A name is looked for among --propVar, the environment, the entries above and those of the "
     "including file. One that is nowhere is replaced by nothing. It may still come from a "
     "--propVar that this check was not told of.",
     "java.library=%jvm.home%/lib/server/libjvm.so", "Define jvm.home in a line above.",
     unresolvedReference},
    {"unset-variable", Severity::warning, "a variable that is not set in the environment now",
     "The same, for a name in capitals, as variables of the environment have. What counts is the "
     "environment of the launch, which may differ from the one of the check.",
     "java.library=%JAVA_HOME%/lib/server/libjvm.so",
     "Set it for the check as for the launch, or allow it: # kvf: allow unset-variable",
     unsetVariable},
    {"percent-pair", Severity::error, "two percent signs that swallow the text between them",
     "Everything between two percent signs is taken for a name. When nothing has that name, it "
     "disappears with both signs.",
     "application.args=100% sure, 5% unsure", R"(application.args=100\\% sure, 5\\% unsure)",
     percentPair},
    {"too-many-references", Severity::error, "more than 100 references in one value",
     "The launch ends with a message.", "A line with 101 times %X%.",
     "Split the value into several keys that refer to each other.", tooManyReferences},
    {"too-much-text", Severity::error, "references that bring more than 32 MiB of text",
     "Lines that refer to each other several times grow fast. The launcher keeps every value in "
     "memory; this check goes on without the one that makes it too much.",
     "a=xxxxxxxxxx\nb=%a%%a%%a%%a%%a%%a%%a%%a% and so on, each line of the one before",
     "Refer to shorter values, or less often.", tooMuchText},
    {"reference-again", Severity::warning, "a reference that comes from a replacement",
     "References are replaced one after the other, each search from the start of the text, so that "
     "one inside an earlier replacement is found in place of the one that was meant. An exported "
     "value is substituted twice, so that an escaped percent sign may open a reference.",
     R"(velox.env.FORMAT=\\%d\\%)", R"(velox.env.FORMAT=\\\\%d\\\\%)", referenceAgain},
    {"environment-wins", Severity::warning, "a reference that the environment overrules",
     "A reference looks at the environment before the entries of the file. A key that has the name "
     "of a variable is not seen while that is set.",
     "HOME=/opt/acme\nvelox.class.path.extended=%HOME%/lib",
     "Give the key a name that no environment has, such as acme.home.", environmentWins},
};

}  // namespace

std::span<const Rule> variableRules() {
  return rules;
}
