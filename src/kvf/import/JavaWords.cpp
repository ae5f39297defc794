#include "kvf/import/JavaWords.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "kvf/import/ArgumentFile.h"
#include "kvf/import/ImportError.h"
#include "kvf/jvm/JavaProgramOptions.h"
#include "kvf/jvm/OptionVariables.h"
#include "kvf/process/FileReading.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view modes[] = {"-jar", "-m", "--module"};

bool isMode(std::string_view word) {
  return std::find(std::begin(modes), std::end(modes), word) != std::end(modes);
}

/// Collects words, and replaces argument files as long as no start class was among the words.
class Expansion {
 public:
  explicit Expansion(const std::string& directory) : directory_(directory) {}

  void add(const SourcedWord& word) {
    const std::string& text = word.text;
    const bool isFile = !hasEnded_ && text.size() > 1 && text.front() == '@';
    if (!isFile) return take(word);
    if (text[1] == '@') return take({text.substr(1), word.from});
    const std::string name = text.substr(1);
    for (ArgumentFileWord& each : parseArgumentFile(readWhole(fs::path(directory_) / name)))
      take({std::move(each.text), concat({name, ":", std::to_string(each.line)})});
  }

  /// Such as the start class.
  [[nodiscard]] bool hasStartClass() const { return hasEnded_; }
  std::vector<SourcedWord> words;

 private:
  void take(const SourcedWord& word) {
    const std::string& text = word.text;
    if (text == "--disable-@files" && !hasEnded_) {
      hasEnded_ = true;
      return;
    }
    words.push_back(word);
    if (text.starts_with('-')) {
      // The archive after -jar may be in an argument file, and ends the options all the same.
      expectsValue_ = takesNextWord(text) && !isMode(text);
      hasEnded_ = hasEnded_ || text.starts_with("--module=");
    } else {
      hasEnded_ = hasEnded_ || !expectsValue_;
      expectsValue_ = false;
    }
  }

  std::string directory_;
  bool expectsValue_ = false;
  bool hasEnded_ = false;
};

void addOptionsVariable(const JavaStart& start, Expansion& expansion) {
  const auto variable = start.environment.find(optionvariables::ofJava);
  if (variable == start.environment.end()) return;
  const auto words = splitOptionsVariable(variable->second);
  if (!words)
    throw ImportError(
        concat({"a quote in ", optionvariables::ofJava, " is not closed: java does not start"}));
  for (const std::string& word : *words) {
    if (isMode(word) || word.starts_with("--module="))
      throw ImportError(concat({"java does not take ", word, " from ", optionvariables::ofJava}));
    expansion.add({word, optionvariables::ofJava});
  }
  if (expansion.hasStartClass())
    throw ImportError(
        concat({optionvariables::ofJava, " names a start class: java does not start"}));
}

}  // namespace

std::vector<SourcedWord> wordsOfJava(const JavaStart& start) {
  constexpr unsigned firstWithFiles = 9;
  const unsigned release = start.jvm ? start.jvm->release : 0;
  if (release != 0 && release < firstWithFiles) return start.words;
  Expansion expansion(start.directory);
  addOptionsVariable(start, expansion);
  for (const SourcedWord& word : start.words) expansion.add(word);
  return std::move(expansion.words);
}
