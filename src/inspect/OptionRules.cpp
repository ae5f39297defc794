#include <algorithm>
#include <cctype>
#include <cstdint>
#include <limits>
#include <optional>

#include <sys/resource.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "inspect/Rules.h"
#include "inspect/Text.h"
#include "javarun/ExtendedOptions.h"

namespace {

constexpr const char* sizeKeys[] = {keys::heapSizeMax, keys::heapSizeInitial, keys::heapSizeMin,
                                    keys::threadStackSize};

/// The bytes of a size as a JVM reads it; nothing when it has another form.
std::optional<std::uint64_t> bytesOf(std::string_view size) {
  constexpr std::string_view units = "kmgt";
  std::uint64_t number = 0;
  std::size_t digits = 0;
  for (; digits < size.size() && std::isdigit(static_cast<unsigned char>(size[digits])) != 0;
       ++digits) {
    const auto digit = static_cast<std::uint64_t>(size[digits] - '0');
    if (number > (std::numeric_limits<std::uint64_t>::max() - digit) / 10) return std::nullopt;
    number = number * 10 + digit;
  }
  if (digits == 0 || size.size() > digits + 1) return std::nullopt;
  if (digits == size.size()) return number;
  const std::size_t unit =
      units.find(static_cast<char>(std::tolower(static_cast<unsigned char>(size[digits]))));
  if (unit == std::string_view::npos) return std::nullopt;
  const std::uint64_t factor = std::uint64_t{1} << (10 * (unit + 1));
  if (number > std::numeric_limits<std::uint64_t>::max() / factor) return std::nullopt;
  return number * factor;
}

std::optional<std::uint64_t> sizeOf(const Inspection& inspection, const char* key) {
  const auto value = inspection.value(key);
  return value ? bytesOf(*value) : std::nullopt;
}

void heapSize(const Inspection& inspection, const Report& report) {
  constexpr std::uint64_t smallestHeap = std::uint64_t{1} << 20U;
  for (const char* key : sizeKeys) {
    const auto value = inspection.value(key);
    if (!value || value->empty()) continue;
    const std::optional<std::uint64_t> bytes = bytesOf(*value);
    if (!bytes) {
      report(
          inspection.positionOf(key),
          concat({shown(*value), " is no size: a JVM takes digits and one of k, m, g and t behind ",
                  "them, such as 256m, and refuses to start otherwise"}));
    } else if (*bytes < smallestHeap && key == keys::heapSizeMax) {
      report(inspection.positionOf(key),
             concat({shown(*value), " is ", std::to_string(*bytes),
                     " bytes, too little for a heap, and the JVM refuses to start: write ", *value,
                     "m for megabytes"}));
    }
  }
}

void heapOrder(const Inspection& inspection, const Report& report) {
  const auto initial = sizeOf(inspection, keys::heapSizeInitial);
  const auto most = sizeOf(inspection, keys::heapSizeMax);
  if (!initial || !most || *initial <= *most) return;
  report(inspection.positionOf(keys::heapSizeInitial),
         concat({"the initial heap of ", inspection.valueOf(keys::heapSizeInitial),
                 " is above the maximum of ", inspection.valueOf(keys::heapSizeMax), " (",
                 inspection.nameOf(inspection.positionOf(keys::heapSizeMax)),
                 "), and the JVM refuses to start: lower it"}));
}

void youngGeneration(const Inspection& inspection, const Report& report) {
  if (!inspection.value(keys::heapSizeMin)) return;
  report(inspection.positionOf(keys::heapSizeMin),
         concat({"this becomes -Xmn", inspection.valueOf(keys::heapSizeMin),
                 ", the size of the young generation, not a minimum of the heap: write ",
                 keys::heapSizeInitial, " for that one"}));
}

void stackSize(const Inspection& inspection, const Report& report) {
  const auto wanted = sizeOf(inspection, keys::threadStackSize);
  struct rlimit limit = {};
  if (!wanted || ::getrlimit(RLIMIT_STACK, &limit) != 0) return;
  if (limit.rlim_max == RLIM_INFINITY || *wanted <= limit.rlim_max) return;
  report(inspection.positionOf(keys::threadStackSize),
         concat({"the hard stack limit here is ", std::to_string(limit.rlim_max >> 10U),
                 "k, so that the main thread gets no ", inspection.valueOf(keys::threadStackSize),
                 ": raise it, with LimitSTACK= in a unit or ulimit -Hs"}));
}

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

/// The option line as the launch reads it, and where it stands; false when there is none.
bool findOptionLine(const Inspection& inspection, std::string& line, Position& at) {
  const auto value = inspection.value(keys::extendedProperties);
  if (!value) return false;
  line = *value;
  at = inspection.positionOf(keys::extendedProperties);
  return true;
}

void optionBlank(const Inspection& inspection, const Report& report) {
  std::string line;
  Position at;
  if (!findOptionLine(inspection, line, at)) return;
  if (line.find('\t') != std::string::npos) {
    report(at, "a tab does not separate options, it becomes part of one: write a single blank");
  }
  const std::vector<Word> words = wordsOf(line);
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (words[i].blanksBefore < 2) continue;
    report(at,
           concat({"two blanks, or a continuation line that is indented, stand behind ",
                   shown(words[i - 1].text), ": the empty word between them becomes its value, ",
                   shown(words[i - 1].text + "="), "; write a single blank"}));
  }
}

bool takesValueAsWord(std::string_view option) {
  return option.starts_with("--") && option.find('=') == std::string_view::npos;
}

/// Options of the program java that no JVM knows.
bool isOfJavaProgram(std::string_view option) {
  constexpr std::string_view names[] = {"-cp", "-classpath", "--class-path", "-jar", "-p"};
  return std::find(std::begin(names), std::end(names), option) != std::end(names);
}

void optionWord(const Inspection& inspection, const Report& report) {
  std::string line;
  Position at;
  if (!findOptionLine(inspection, line, at)) return;
  const std::vector<WString> options = splitExtendedOptions(line.c_str());
  const std::vector<Word> words = wordsOf(line);
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i].text;
    const bool first = word.starts_with('-');
    if (i == 0 && !first) {
      report(at, concat({"text before the first \"-\" is dropped: ", shown(word)}));
    }
    if (first && isOfJavaProgram(word)) {
      report(at, concat({shown(word), " is an option of the program java, which a JVM in the ",
                         "launcher's process ignores: use velox.class.path.extended and ",
                         "java.start.class"}));
      continue;
    }
    if (i == 0 || first || words[i].blanksBefore != 1) continue;
    const std::string& option = words[i - 1].text;
    const bool plainDefinition = option.starts_with("-D") && option.find('=') == std::string::npos;
    if (!option.starts_with('-') || takesValueAsWord(option) || plainDefinition) continue;
    if (isOfJavaProgram(option)) continue;
    report(at, concat({shown(concat({option, " ", word})), " becomes one option, ",
                       shown(concat({option, "=", word})),
                       ": write it in one word, with double quotes around a blank that is meant"}));
  }
}

void optionPercent(const Inspection& inspection, const Report& report) {
  const Definition* definition = inspection.definitionOf(keys::extendedProperties);
  if (definition == nullptr) return;
  std::size_t signs = 0;
  char before = '\0';
  for (const char c : definition->written) {
    if (c == '%' && before != '\\') ++signs;
    before = c;
  }
  if (signs % 2 == 0) return;
  report(
      definition->at,
      "a percent sign stands alone; it stays, but the next one in this value makes a reference of "
      "the text between them: write \\\\%");
}

/// Where an option of the JVM comes from.
Position positionOfOption(const Inspection& inspection, const std::string& option) {
  struct Origin {
    std::string_view prefix;
    const char* key;
  };
  constexpr Origin origins[] = {{"-Xmx", keys::heapSizeMax},
                                {"-Xms", keys::heapSizeInitial},
                                {"-Xmn", keys::heapSizeMin},
                                {"-Xss", keys::threadStackSize}};
  for (const Origin& origin : origins) {
    const auto value = inspection.value(origin.key);
    if (value && option == concat({origin.prefix, *value}))
      return inspection.positionOf(origin.key);
  }
  return inspection.positionOf(keys::extendedProperties);
}

void jvmIgnores(const Inspection& inspection, const Report& report) {
  if (!inspection.jvmTrial) return;
  for (const std::string& option : inspection.jvmTrial->ignored) {
    report(positionOfOption(inspection, option),
           concat({"the JVM does not know ", shown(option),
                   "; --run ignores it without a word, --cmdlineJava does not start: correct or ",
                   "remove it"}));
  }
}

/// A JVM names the option that it complains about, or what it is about.
Position positionOfRefusal(const Inspection& inspection, const std::string& text) {
  struct Subject {
    std::string_view words;
    const char* key;
  };
  constexpr Subject subjects[] = {{"stack size", keys::threadStackSize},
                                  {"initial heap", keys::heapSizeInitial},
                                  {"Initial heap", keys::heapSizeInitial},
                                  {"maximum heap", keys::heapSizeMax}};
  for (const std::string& option : inspection.plan.options) {
    const bool named = option.starts_with("-X") && text.find(option) != std::string::npos;
    if (named) return positionOfOption(inspection, option);
  }
  for (const Subject& subject : subjects) {
    const bool matches = text.find(subject.words) != std::string::npos;
    if (matches && inspection.value(subject.key)) return inspection.positionOf(subject.key);
  }
  return inspection.positionOf(keys::javaLibrary);
}

void jvmRefuses(const Inspection& inspection, const Report& report) {
  if (!inspection.jvmTrial || !inspection.jvmTrial->refusal) return;
  const std::string& text = *inspection.jvmTrial->refusal;
  report(positionOfRefusal(inspection, text),
         concat({"the JVM does not start with these options: ", shown(text)}));
}

constexpr Rule rules[] = {
    {"heap-size", Severity::error, "a size that a JVM does not take",
     "The value is put behind -Xmx, -Xms, -Xmn or -Xss as it stands. A bare number is bytes.",
     "java.heap.size.max=512 MB", "java.heap.size.max=512m", heapSize},
    {"heap-order", Severity::error, "an initial heap above the maximum",
     "The JVM ends the process with its own message and status 1.",
     "java.heap.size.initial=2g\njava.heap.size.max=1g", "java.heap.size.initial=1g", heapOrder},
    {"young-generation", Severity::warning, "java.heap.size.min, which sets the young generation",
     "It becomes -Xmn. When that is meant, allow it with a comment.", "java.heap.size.min=256m",
     "java.heap.size.initial=256m", youngGeneration},
    {"stack-size", Severity::warning, "a stack above the hard limit",
     "The main thread runs the application, and the launcher raises its stack limit up to the hard "
     "one only. The limit of the launch may differ from the one of the check.",
     "java.thread.stack.size=1g under ulimit -Hs 8192", "LimitSTACK=infinity in the unit",
     stackSize},
    {"option-blank", Severity::error, "two blanks or a tab between JVM options",
     "An empty word counts as the value of the option before it, which gets a \"=\" at its end. A "
     "continuation line keeps its indentation, so that it brings blanks along.",
     "java.extended.properties=-Xint \\\n  -Xrs", "java.extended.properties=-Xint \\\n-Xrs",
     optionBlank},
    {"option-word", Severity::error, "a JVM option of two words",
     "A word that does not begin with \"-\" is joined to the option before it with \"=\". That is "
     "right for --add-modules java.sql and -Dname value alone.",
     "java.extended.properties=-Xmx 512m", "java.extended.properties=-Xmx512m", optionWord},
    {"option-percent", Severity::warning, "a lone percent sign in JVM options",
     "One percent sign stays as it is, two swallow the text between them.",
     "java.extended.properties=-XX:ErrorFile=/var/log/hs%p.log",
     "java.extended.properties=-XX:ErrorFile=/var/log/hs\\\\%p.log", optionPercent},
    {"jvm-ignores", Severity::warning, "an option that the JVM does not know",
     "The launcher lets the JVM ignore what it does not know. Checked with --jvm, which starts the "
     "JVM once, and once more for each such option.",
     "java.extended.properties=-XX:+UseFoo", "java.extended.properties=-XX:+UseSerialGC",
     jvmIgnores},
    {"jvm-refuses", Severity::error, "options that the JVM refuses",
     "The JVM prints its own text and the launch ends. Checked with --jvm.",
     "java.heap.size.max=1000t", "java.heap.size.max=1g", jvmRefuses},
};

}  // namespace

std::span<const Rule> optionRules() {
  return rules;
}
