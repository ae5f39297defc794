#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "javarun/ArgumentSplitter.h"
#include "javarun/ExtendedOptions.h"
#include "kvf/rules/EntryText.h"
#include "kvf/rules/Rule.h"
#include "kvf/rules/ShellSyntax.h"
#include "kvf/rules/ValueSigns.h"
#include "kvf/text/Text.h"

namespace {

/// Values that the launcher opens as they are.
bool holdsPaths(const Entry& entry) {
  constexpr std::string_view paths[] = {
      keys::javaLibrary,     keys::applicationLibrary, keys::classPathExtended,
      keys::classPath,       keys::javaPath,           keys::adjusterClassPath,
      keys::javaLibraryPath, keys::processIdFile,      keys::startDirectory};
  return std::find(std::begin(paths), std::end(paths), entry.key) != std::end(paths);
}

/// A variable that is, or ends in, that name.
bool isCalled(std::string_view variable, std::string_view name) {
  return variable == name || variable.ends_with(concat({"_", name}));
}

/// Lists of folders, which the system or a JVM opens as they are.
bool isSearchPath(std::string_view variable) {
  return isCalled(variable, "PATH") || variable == "CLASSPATH";
}

/// What a program may also expand by itself, such as a template.
bool isFolderByName(std::string_view variable) {
  return isCalled(variable, "HOME") || isCalled(variable, "DIR");
}

/// What the JVM itself reads of an option, but for names of methods, in which the sign is common:
/// not a property, which the application reads, not the words for an agent, and not a command,
/// which a shell runs.
std::string_view partOfJvm(std::string_view option) {
  constexpr std::string_view others[] = {
      "-XX:OnOutOfMemoryError=", "-XX:OnError=", "-XX:CompileCommand=", "-XX:CompileOnly="};
  if (std::any_of(std::begin(others), std::end(others),
                  [&](std::string_view start) { return option.starts_with(start); }))
    return {};
  if (option.starts_with("-javaagent:") || option.starts_with("-agent"))
    return option.substr(0, option.find('='));
  return option.starts_with("-X") ? option : std::string_view();
}

/// "java/util/HashMap$Node": a dollar sign after the name of a class, which is no path.
bool isNestedClass(std::string_view text, const ShellExpansion& expansion) {
  const auto isPart = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("_$./*").find(c) != std::string_view::npos;
  };
  std::size_t start = expansion.at;
  while (start > 0 && isPart(text[start - 1])) --start;
  const std::string_view outer = text.substr(start, expansion.at - start);
  const std::string_view name = outer.substr(outer.find_last_of("./") + 1);
  return expansion.text.starts_with('$') && !expansion.text.starts_with("${") &&
         !outer.starts_with('/') && !name.empty() &&
         std::isupper(static_cast<unsigned char>(name.front())) != 0;
}

/// True when there is a file or folder with that very name, as far as it needs the sign for it.
bool isThere(const Inspection& inspection, std::string_view value, const std::string& sign) {
  const std::vector<std::string_view> paths = piecesOf(value, "=:;, \t\"");
  return std::any_of(paths.begin(), paths.end(), [&](std::string_view path) {
    const std::size_t at = path.find(sign);
    if (at == std::string_view::npos) return false;
    path = path.substr(0, path.find('/', at + sign.size()));
    std::error_code error;
    return std::filesystem::exists(inspection.atApplication(path), error) ||
           std::filesystem::exists(inspection.atLauncher(path), error);
  });
}

/// The reference that says the same, where the launch has the variable.
std::vector<Edit> asReference(const Inspection& inspection, const EntryText& text,
                              const ShellExpansion& expansion) {
  const std::string& instead = expansion.instead;
  const auto at = text.find(expansion.text);
  const bool hasOtherSigns = text.raw().find('%') != std::string_view::npos;
  if (!at || instead.empty() || hasOtherSigns) return {};
  const std::string name = instead.substr(1, instead.size() - 2);
  if (inspection.surroundings.variable(name).empty()) return {};
  return {text.replace(*at, *at + expansion.text.size(), instead)};
}

/// ${tenant} and the like: variables of the environment have capitals.
bool isPlaceholder(const ShellExpansion& expansion) {
  return std::any_of(expansion.text.begin(), expansion.text.end(),
                     [](unsigned char c) { return std::islower(c) != 0; });
}

/// The first that nothing else explains.
std::optional<ShellExpansion> oddExpansionIn(std::string_view text, const Entry& entry,
                                             const Inspection& inspection) {
  auto found = shellExpansionIn(text);
  while (found && (isThere(inspection, entry.value, found->text) ||
                   (entry.key == keys::extendedProperties && isNestedClass(text, *found)) ||
                   (isFolderByName(entry.variable()) && isPlaceholder(*found))))
    found = shellExpansionIn(text, found->at + 1);
  return found;
}

void shellVariable(const Inspection& inspection, Report& report) {
  const auto tell = [&](const Entry& entry, std::string_view text) {
    const auto expansion = oddExpansionIn(text, entry, inspection);
    if (!expansion) return;
    const EntryText written(inspection, entry);
    Finding& finding = report(
        written.placeOf(expansion->text),
        concat({"only a shell expands ", shown(expansion->text), ", and there is none here: ",
                expansion->instead.empty()
                    ? "have it done before the start, and refer to a variable with the result"
                    : concat({"write ", expansion->instead})}));
    // Its reader may expand it.
    finding.harmless = isFolderByName(entry.variable());
    if (!finding.harmless) finding.fix = asReference(inspection, written, *expansion);
  };
  for (const Entry& entry : inspection.run().entries) {
    if (entry.skipped || entry.isInclude) continue;
    const std::string_view variable = entry.variable();
    if (holdsPaths(entry) || isSearchPath(variable) || isFolderByName(variable))
      tell(entry, entry.written);
    if (entry.key != keys::extendedProperties) continue;
    for (const WString& option : splitExtendedOptions(WString(entry.written)))
      tell(entry, partOfJvm(option.view()));
  }
}

LaunchWay wayOf(const Inspection& inspection) {
  return inspection.isJava() ? LaunchWay::hostedJava : LaunchWay::nativeLibrary;
}

std::vector<std::string> wordsOf(std::string_view text, LaunchWay way) {
  std::vector<std::string> words;
  for (const WString& word : splitArguments(WString(text), way)) words.push_back(toString(word));
  return words;
}

/// "$(POD_NAME)" in a word: its name.
std::string_view clusterVariableIn(std::string_view word) {
  const std::size_t start = word.find("$(");
  if (start == std::string_view::npos) return {};
  const std::string_view name = word.substr(start + 2, word.find(')', start) - start - 2);
  const bool isName = std::all_of(name.begin(), name.end(), [](char c) {
    return std::isupper(static_cast<unsigned char>(c)) != 0 ||
           std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '_';
  });
  return isName ? name : std::string_view();
}

void shellSyntax(const Inspection& inspection, Report& report) {
  const Entry* entry = inspection.entryOf(keys::applicationArgs);
  if (entry == nullptr) return;
  const std::vector<std::string> words = wordsOf(entry->value, wayOf(inspection));
  if (const std::string word = redirectionIn(words);
      !word.empty() && entry->value.find("\"" + word) == std::string::npos) {
    report(entry->at,
           concat({"no shell reads this: the application gets ", shown(word),
                   " as an argument; redirect where the launcher is started, or in its unit"}));
  }
  if (const std::string word = foreignQuoteIn(words); !word.empty()) {
    report(entry->at, concat({"only double quotes hold words together: the application gets ",
                              shown(word), " as an argument; write \"two words\""}));
  }
  for (const std::string& word : words) {
    if (word == "$@" || word == "$*") {
      report(entry->at,
             concat({"the application gets ", shown(word), " as an argument: leave it out, the ",
                     "arguments of the command line follow by themselves"}));
    } else if (const std::string_view name = clusterVariableIn(word); !name.empty()) {
      report(entry->at, concat({"$(", name, ") stays as it is here; a cluster expands it in ",
                                "the arguments of a container alone: write %", name, "%"}));
    } else if (word == "#" && &word != &words.back()) {
      report(entry->at,
             "a # does not begin a comment after a value: the application gets it, and the words "
             "after it, as arguments; put the comment on a line of its own");
    }
  }
}

void argumentQuotes(const Inspection& inspection, Report& report) {
  const Entry* entry = inspection.entryOf(keys::applicationArgs);
  if (entry == nullptr || entry->value.find("\\\"") != std::string::npos) return;
  const auto intended = shellWords(entry->value);
  if (!intended) {
    report(entry->at,
           "a double quote is not closed: it is dropped, and at the start of a word it joins "
           "everything after it into one; write a pair");
    return;
  }
  // Another rule reports empty ones.
  const auto withoutEmpty = [](std::vector<std::string> words) {
    std::erase(words, "");
    return words;
  };
  const auto wanted = withoutEmpty(*intended);
  const auto given = withoutEmpty(wordsOf(entry->value, wayOf(inspection)));
  const auto [want, get] = std::mismatch(wanted.begin(), wanted.end(), given.begin(), given.end());
  if (want == wanted.end() || want->find(' ') == std::string::npos) return;
  report(entry->at, concat({"quotes within a word hold nothing together: the application gets ",
                            get == given.end() ? "nothing of it" : shown(*get),
                            "; write the whole word in ", "quotes, ", shown(*want)}));
}

void emptyArgument(const Inspection& inspection, Report& report) {
  const std::string command = inspection.command();
  const bool writesScript = inspection.forScript || command == switches::generateScript;
  if (!writesScript && command != switches::cmdlineJava) return;
  const std::string value = inspection.valueOf(keys::applicationArgs);
  const auto countOfEmpty = [&](LaunchWay way) {
    const std::vector<std::string> words = wordsOf(value, way);
    return std::count(words.begin(), words.end(), "");
  };
  if (countOfEmpty(LaunchWay::hostedJava) == countOfEmpty(LaunchWay::externalJava)) return;
  report(inspection.positionOf(keys::applicationArgs),
         concat({"the empty argument \"\" gets lost with ",
                 writesScript ? switches::generateScript : switches::cmdlineJava,
                 ", and those after it move up: start it with --run, which keeps it"}));
}

/// Removes the quotes, unless the value then begins or ends with something else that counts.
std::vector<Edit> withoutQuotes(const EntryText& text, std::string_view value) {
  const auto at = text.find(value);
  constexpr std::string_view keptByQuotes = " \t=";
  const bool hasOwnEnds = value.size() > 2 &&
                          keptByQuotes.find(value[1]) == std::string_view::npos &&
                          keptByQuotes.find(value[value.size() - 2]) == std::string_view::npos;
  if (!at || !hasOwnEnds) return {};
  const std::size_t last = *at + value.size() - 1;
  return {text.replace(*at, *at + 1, ""), text.replace(last, last + 1, "")};
}

/// True where the launcher itself reads the value, and makes something of the shorter one alone.
bool leavesNoDoubt(const Inspection& inspection, const Entry& entry, std::string_view shorter) {
  return !takesAnyText(entry.key) && suits(inspection, entry.key, shorter) &&
         !suits(inspection, entry.key, entry.value);
}

void quotedValue(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    const std::string_view value = entry.written;
    if (entry.skipped || entry.isInclude || !hasOddQuotes(entry.key, value)) continue;
    const EntryText text(inspection, entry);
    Finding& finding = report(
        text.placeOf(value), concat({"the quotes around ", shown(value.substr(1, value.size() - 2)),
                                     " belong to the value: leave them out, blanks need none"}));
    const std::string_view whole = entry.value;
    const bool isStillQuoted = hasOddQuotes(entry.key, whole);
    if (isStillQuoted && leavesNoDoubt(inspection, entry, whole.substr(1, whole.size() - 2)))
      finding.fix = withoutQuotes(text, value);
  }
}

/// Moves the comment above the entry; it comes with the blanks in front of it.
std::vector<Edit> onItsOwnLine(const EntryText& text, std::string_view comment) {
  const auto at = text.find(comment);
  if (!at || !text.isOneLine() || !text.beginsLine() ||
      comment.find('\\') != std::string_view::npos)
    return {};
  return {text.insertLineAbove(comment.substr(comment.find('#'))),
          text.replace(*at, *at + comment.size(), "")};
}

void trailingComment(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    const std::string_view comment = oddCommentIn(entry.key, entry.written);
    if (entry.skipped || comment.empty()) continue;
    const EntryText text(inspection, entry);
    Finding& finding =
        report(text.placeOf(comment.substr(comment.find('#'))),
               concat({"a # does not begin a comment after a value: the value is ",
                       shown(entry.written), "; put the comment on a line of its own"}));
    const std::string_view after = oddCommentIn(entry.key, entry.value);
    const std::string_view shorter =
        std::string_view(entry.value).substr(0, entry.value.size() - after.size());
    if (after == comment && leavesNoDoubt(inspection, entry, shorter))
      finding.fix = onItsOwnLine(text, comment);
  }
}

constexpr Rule rules[] = {
    {.id = "shell-variable",
     .severity = Severity::error,
     .summary = "$NAME, ~ and the like where only a shell would expand them",
     .explanation = "No shell reads a properties file: in paths, variables with paths and options "
                    "of the JVM $HOME or ~ stays as it is. An argument or a property may have it, "
                    "since the application may expand it. So may the program that reads a variable "
                    "whose name ends in HOME or DIR: there it is a warning, and ${name} in small "
                    "letters is fine. What exists under that very name is not reported.",
     .example = {.lines = "velox.env.LD_LIBRARY_PATH=$HOME/acme"},
     .remedy = {.lines = "velox.env.LD_LIBRARY_PATH=%HOME%/acme"},
     .check = shellVariable},
    {.id = "shell-syntax",
     .severity = Severity::warning,
     .summary = "redirections, single quotes and the like in application.args",
     .explanation = "Blanks split the arguments and double quotes hold them together; everything "
                    "else goes to the application as it is: > FILE, 2>&1, a last &, \"$@\", single "
                    "and typographic quotes, a comment.",
     .example = {.lines = "application.args=--port 80 > /var/log/acme.log"},
     .remedy = {.note = "Redirect where the launcher is started.",
                .lines = "application.args=--port 80"},
     .check = shellSyntax},
    {.id = "argument-quotes",
     .severity = Severity::error,
     .summary = "double quotes that hold no words together",
     .explanation = "In application.args quotes count only at the start of a word; within a word "
                    "they vanish. In java.extended.properties they go around a value.",
     .example = {.lines = "application.args=--title=\"Acme Server\""},
     .remedy = {.lines = "application.args=\"--title=Acme Server\""},
     .check = argumentQuotes},
    {.id = "empty-argument",
     .severity = Severity::error,
     .summary = "an empty argument that gets lost",
     .explanation = "--run passes \"\" on as an empty argument; --cmdlineJava and the script of "
                    "--generateScript leave it out.",
     .example = {.lines = "application.args=--suffix \"\" --port 80",
                 .command = "kvf check -- wrapper --propFile acme.kvf --cmdlineJava"},
     .remedy = {.lines = "application.args=--suffix \"\" --port 80",
                .command = "kvf check -- wrapper --propFile acme.kvf --run"},
     .check = emptyArgument},
    {.id = "quoted-value",
     .severity = Severity::warning,
     .summary = "a value in quotes",
     .explanation = "A value reaches to the end of its line, and quotes belong to it. Only "
                    "application.args and java.extended.properties split at blanks. Where they are "
                    "meant, allow it. They are not reported in commandline.argv. entries, which "
                    "exist for arguments with quotes, nor around a constant, such as 'NULL'.",
     .example = {.lines = "velox.env.ACME_HOME=\"/opt/acme\""},
     .remedy = {.lines = "velox.env.ACME_HOME=/opt/acme"},
     .check = quotedValue},
    {.id = "trailing-comment",
     .severity = Severity::warning,
     .summary = "a comment after a value",
     .explanation = "A comment needs a line of its own. What looks like one after a value belongs "
                    "to the value; where it is meant, allow it.",
     .example = {.lines = "java.property.timeout=30 # seconds"},
     .remedy = {.lines = "# Seconds.\njava.property.timeout=30"},
     .check = trailingComment},
};

}  // namespace

std::span<const Rule> shellRules() {
  return rules;
}
