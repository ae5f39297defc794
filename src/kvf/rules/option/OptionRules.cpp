#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"
#include "javarun/ExtendedOptions.h"
#include "kvf/jvm/JavaProgramOptions.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/rules/EntryText.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// A word of the option line, with its quotes.
struct Word {
  std::string text;
  std::size_t blanksBefore = 0;
};

std::vector<Word> wordsOf(std::string_view line) {
  std::vector<Word> words;
  bool inQuotes = false;
  bool inWord = false;
  std::size_t blanks = 0;
  for (const char c : line) {
    if (c == '"') inQuotes = !inQuotes;
    if (c == ' ' && !inQuotes) {
      inWord = false;
      ++blanks;
      continue;
    }
    if (!inWord) words.push_back({{}, std::exchange(blanks, 0)});
    inWord = true;
    words.back().text += c;
  }
  return words;
}

/// The option line as the launch reads it.
struct OptionLine {
  std::string text;
  Position at;
  std::vector<Word> words;
  std::optional<EntryText> written;  ///< in a file

  /// Of a word as it is written there.
  [[nodiscard]] Position placeOf(std::string_view word) const {
    return written ? written->placeOf(word) : at;
  }
};

std::optional<OptionLine> optionLine(const Inspection& inspection) {
  const auto value = inspection.value(keys::extendedProperties);
  if (!value) return std::nullopt;
  OptionLine line = {*value, inspection.positionOf(keys::extendedProperties), wordsOf(*value), {}};
  if (const Entry* entry = inspection.entryOf(keys::extendedProperties))
    line.written.emplace(inspection, *entry);
  return line;
}

/// A JVM refuses a size with a "=" in it; other options with a surplus "=" it does not know.
bool refusesJoined(const Inspection& inspection, std::string_view option) {
  return inspection.startsJvm() && setsSize(option);
}

/// Leaves one blank between words, on the line of the first, and none at the end.
std::vector<Edit> withSingleBlanks(const EntryText& text) {
  const std::string_view raw = text.raw();
  std::vector<Edit> edits;
  std::vector<std::size_t> run;  // of blanks between words, without line ends
  bool inQuotes = false;
  bool inWord = false;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const char c = raw[i];
    const bool isContinuation = c == '\\' && i + 1 < raw.size() && raw[i + 1] == '\n';
    if (isContinuation) {
      ++i;
    } else if (c == '\\' || (c == '\t' && inQuotes)) {
      return {};  // What is meant is unclear.
    } else if ((c == ' ' || c == '\t') && !inQuotes) {
      run.push_back(i);
    } else {
      for (std::size_t blank = 1; blank < run.size() && inWord; ++blank)
        edits.push_back(text.replace(run[blank], run[blank] + 1, ""));
      if (inWord && !run.empty() && raw[run[0]] == '\t')
        edits.push_back(text.replace(run[0], run[0] + 1, " "));
      run.clear();
      inWord = true;
      if (c == '"') inQuotes = !inQuotes;
    }
  }
  for (const std::size_t blank : run) edits.push_back(text.replace(blank, blank + 1, ""));
  return inQuotes ? std::vector<Edit>() : edits;
}

void optionBlank(const Inspection& inspection, Report& report) {
  const std::optional<OptionLine> line = optionLine(inspection);
  if (!line) return;
  const std::vector<Edit> fix =
      line->written ? withSingleBlanks(*line->written) : std::vector<Edit>();
  if (line->text.find('\t') != std::string::npos) {
    report(line->at,
           "a tab does not separate options, it becomes part of one: write a single blank")
        .fix = fix;
  }
  const auto reportAfter = [&](const Word& word) {
    report
        .fatalIf(refusesJoined(inspection, word.text), line->placeOf(word.text),
                 concat({"two blanks, or a continuation line that is indented, follow ",
                         shown(word.text), ": the empty word between them becomes its value, ",
                         shown(word.text + "="), "; write a single blank"}))
        .fix = fix;
  };
  for (std::size_t i = 1; i < line->words.size(); ++i) {
    if (line->words[i].blanksBefore > 1) reportAfter(line->words[i - 1]);
  }
  if (!line->words.empty() && line->text.ends_with("  ")) reportAfter(line->words.back());
}

bool hasStrayBlanks(const OptionLine& line) {
  const auto isFarAfter = [&](const Word& word) {
    return word.blanksBefore > 1 && &word != line.words.data();
  };
  return line.text.find('\t') != std::string::npos || line.text.ends_with("  ") ||
         std::any_of(line.words.begin(), line.words.end(), isFarAfter);
}

/// True for an option that may have its value as a word of its own, since a JVM takes it with "=".
bool takesValueAsWord(std::string_view option) {
  return option.find('=') == std::string_view::npos &&
         (option.starts_with("--") || option.starts_with("-D"));
}

std::string withoutQuotes(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '"'), text.end());
  return text;
}

/// The options as their words are meant, those of two words joined.
std::vector<std::string> intendedOptions(const std::vector<Word>& words) {
  std::vector<std::string> options;
  bool mayTakeValue = false;
  for (const Word& word : words) {
    const std::string text = withoutQuotes(word.text);
    if (mayTakeValue && !text.starts_with('-')) {
      options.back() += "=" + text;
      mayTakeValue = false;
    } else {
      options.push_back(text);
      mayTakeValue = text.starts_with('-');
    }
  }
  return options;
}

/// The first of the options that are not as they were meant; empty: all are.
std::string firstDifference(const std::vector<std::string>& intended,
                            const std::vector<WString>& options) {
  constexpr std::size_t maxListed = 3;
  std::size_t at = 0;
  while (at < intended.size() && at < options.size() && options[at].view() == intended[at]) ++at;
  if (at == intended.size() && at == options.size()) return {};
  if (at >= options.size()) return "nothing of " + shown(intended[at]);
  std::string list;
  for (std::size_t i = at; i < options.size() && i < at + maxListed; ++i) {
    list += (list.empty() ? "" : ", ") + shown(options[i].view());
  }
  return list;
}

/// What to write in a file for an option of the program java.
std::string insteadOfProgramOption(const JavaProgramOption& option) {
  switch (option.use) {
    case JavaProgramOption::Use::joined:
      return concat({"write ", option.with, "=FOLDER"});
    case JavaProgramOption::Use::module:
      return "write --add-modules=MODULE, and java.start.class=CLASS";
    case JavaProgramOption::Use::mode:
    case JavaProgramOption::Use::classPath:
      return "use velox.class.path.extended and java.start.class";
    case JavaProgramOption::Use::replaced:
      return concat({"write ", option.with});
    default:
      return "leave it out";
  }
}

/// The option of the program java that the word is, unless that runs the application and acts on
/// it; else null.
const JavaProgramOption* misplacedProgramOption(const Inspection& inspection,
                                                std::string_view word) {
  using Use = JavaProgramOption::Use;
  const JavaProgramOption* option = javaProgramOption(word);
  if (option == nullptr || !option->isOwn) return nullptr;
  const bool isTaken = option->use == Use::replaced || option->use == Use::itself;
  return isTaken && !inspection.runsInProcess() ? nullptr : option;
}

/// True for options that stand together with commas between them. Properties, agents and logs have
/// commas of their own.
bool hasCommas(std::string_view word) {
  const bool isFlag = word.starts_with("-XX:") || setsSize(word) || word.starts_with("-Xint");
  return isFlag &&
         (word.find(",-X") != std::string_view::npos || word.find(",-D") != std::string_view::npos);
}

/// Blanks in the place of those commas.
std::vector<Edit> withBlanks(const OptionLine& line, std::string_view word) {
  const auto start = line.written ? line.written->find(word) : std::nullopt;
  if (!start) return {};
  std::vector<Edit> edits;
  for (std::size_t at = 0; at + 2 < word.size(); ++at) {
    const std::string_view next = word.substr(at, 3);
    if (next == ",-X" || next == ",-D")
      edits.push_back(line.written->replace(*start + at, *start + at + 1, " "));
  }
  return edits;
}

/// The option and its value, which is "-Xmx 512m", in one word.
std::vector<Edit> withoutBlank(const OptionLine& line, std::string_view option,
                               std::string_view value) {
  const auto start = line.written ? line.written->find(concat({option, " ", value})) : std::nullopt;
  if (!start) return {};
  const std::size_t blank = *start + option.size();
  return {line.written->replace(blank, blank + 1, "")};
}

/// Reports what is wrong with a word by itself, or with it as the value of the one before it.
bool reportWord(const Inspection& inspection, const OptionLine& line, std::size_t index,
                Report& report) {
  const std::string& word = line.words[index].text;
  const bool isOption = word.starts_with('-');
  if (const JavaProgramOption* option = misplacedProgramOption(inspection, word)) {
    report(line.placeOf(word),
           concat({shown(word), " is an option of the program java, which a JVM in the ",
                   "launcher's process ignores: ", insteadOfProgramOption(*option)}));
    return true;
  }
  if (isOption && hasCommas(word)) {
    report(line.placeOf(word),
           concat({shown(word), " is one option, which the JVM does not know: write ",
                   "blanks between options, not commas"}))
        .fix = withBlanks(line, word);
    return true;
  }
  if (isOption || word.starts_with("\"-")) return false;
  if (index == 0 && word.starts_with('@')) {
    report(line.placeOf(word),
           concat({shown(word), " is read by the program java alone: write the options ",
                   "here, or in a file for velox.include.kvf"}));
    return true;
  }
  if (index == 0) {
    report(line.placeOf(word), concat({"text before the first \"-\" is dropped: ", shown(word)}));
    return true;
  }
  const std::string& option = line.words[index - 1].text;
  if (!option.starts_with('-') || takesValueAsWord(option) || isOfJavaProgram(option)) return false;
  const std::string both = concat({option, " ", word});
  Finding& finding = report.fatalIf(
      refusesJoined(inspection, option), line.placeOf(both),
      concat({shown(both), " becomes one option, ", shown(concat({option, "=", word})),
              ": write it in one word, with double quotes around a blank that belongs to it"}));
  if (setsSize(option + word) && memorySize(word)) finding.fix = withoutBlank(line, option, word);
  return true;
}

void optionWord(const Inspection& inspection, Report& report) {
  const std::optional<OptionLine> line = optionLine(inspection);
  if (!line) return;
  bool isReported = hasStrayBlanks(*line);
  for (std::size_t i = 0; i < line->words.size(); ++i) {
    const bool followsWord = i == 0 || line->words[i].blanksBefore == 1;
    if (followsWord && reportWord(inspection, *line, i, report)) isReported = true;
  }
  if (isReported) return;
  const std::string difference =
      firstDifference(intendedOptions(line->words), splitExtendedOptions(WString(line->text)));
  if (difference.empty()) return;
  report(line->at, concat({"the launcher reads ", difference,
                           " here: an option has one value, and double quotes go around the ",
                           "value alone, as in -Dname=\"two words\""}));
}

constexpr Rule rules[] = {
    {.id = "option-blank",
     .severity = Severity::error,
     .summary = "two blanks or a tab between JVM options",
     .explanation = "An empty word counts as the value of the option before it, which gets a \"=\" "
                    "at its end. The indentation of a continuation line counts as blanks.",
     .example = {.lines = "java.extended.properties=-Xint \\\n  -Xrs"},
     .remedy = {.lines = "java.extended.properties=-Xint \\\n-Xrs"},
     .check = optionBlank},
    {.id = "option-word",
     .severity = Severity::error,
     .summary = "a JVM option in two words",
     .explanation =
         "A word that does not begin with \"-\" is joined to the option before it with \"=\". That "
         "is right only for options such as --add-modules java.sql and -Dname value. Double quotes "
         "protect blanks only after the \"-\" of their option.",
     .example = {.lines = "java.extended.properties=-Xmx 512m"},
     .remedy = {.lines = "java.extended.properties=-Xmx512m"},
     .check = optionWord},
};

}  // namespace

std::span<const Rule> optionRules() {
  return rules;
}
