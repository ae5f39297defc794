#include "javarun/ArgumentSplitter.h"

#include <string>
#include <utility>

#include "foundation/PropertyKeys.h"

namespace {

struct SplitRules {
  bool emptyPairIsArgument;
  bool keepsQuoteInWord;
  bool closingQuoteEndsWord;  ///< what follows up to the next blank is dropped
};

constexpr SplitRules rulesOf(LaunchWay way) {
  switch (way) {
    case LaunchWay::hostedJava:
      return {
          .emptyPairIsArgument = true, .keepsQuoteInWord = false, .closingQuoteEndsWord = false};
    case LaunchWay::externalJava:
      return {
          .emptyPairIsArgument = false, .keepsQuoteInWord = false, .closingQuoteEndsWord = false};
    case LaunchWay::nativeLibrary:
      return {.emptyPairIsArgument = true, .keepsQuoteInWord = true, .closingQuoteEndsWord = true};
  }
  return {};
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

class Splitter {
 public:
  explicit Splitter(SplitRules rules) : rules_(rules) {}

  std::vector<WString> split(const WString& text) {
    // Before the first character a quote may open, as after a blank.
    char previous = ' ';
    for (const char c : text.view()) {
      take(c, previous);
      previous = c;
    }
    endWord();
    return std::move(arguments_);
  }

 private:
  void take(char c, char previous) {
    if (c == '"' && inQuotes_) return closeQuotes(previous);
    if (c == '"' && isBlank(previous)) {
      inQuotes_ = true;
    } else if (isBlank(c) && !inQuotes_) {
      endWord();
    } else if (c != '"' || rules_.keepsQuoteInWord) {
      appendToWord(c);
    }
  }

  void closeQuotes(char previous) {
    inQuotes_ = false;
    if (previous != '"') {
      wordClosed_ = rules_.closingQuoteEndsWord;
    } else if (rules_.emptyPairIsArgument) {
      arguments_.emplace_back();
    }
  }

  void appendToWord(char c) {
    inWord_ = true;
    if (!wordClosed_) word_ += c;
  }

  void endWord() {
    if (inWord_) arguments_.push_back(std::exchange(word_, {}));
    inWord_ = false;
    wordClosed_ = false;
  }

  SplitRules rules_;
  bool inQuotes_ = false;
  bool inWord_ = false;
  bool wordClosed_ = false;
  WString word_;
  std::vector<WString> arguments_;
};

void appendCommandLine(const Properties& properties, int first, std::vector<WString>& arguments) {
  WString argument;
  for (int number = first;
       properties.get(keys::commandLineArgumentPrefix + WString(std::to_string(number)), argument);
       ++number) {
    arguments.push_back(argument);
  }
}

}  // namespace

std::vector<WString> splitArguments(const WString& text, LaunchWay way) {
  return Splitter(rulesOf(way)).split(text);
}

std::vector<WString> applicationArguments(const Properties& properties, LaunchWay way) {
  const bool native = way == LaunchWay::nativeLibrary;
  std::vector<WString> arguments;
  if (native) appendCommandLine(properties, 0, arguments);
  for (WString& argument : splitArguments(properties.valueOf(keys::applicationArgs), way)) {
    arguments.push_back(std::move(argument));
  }
  if (!native) appendCommandLine(properties, 1, arguments);
  return arguments;
}
