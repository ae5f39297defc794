#include "kvf/import/JavaCommandLine.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "foundation/TextPieces.h"
#include "javarun/ClassPath.h"
#include "kvf/import/ImportError.h"
#include "kvf/import/JavaWords.h"
#include "kvf/jvm/JavaProgramOptions.h"
#include "kvf/process/FolderFiles.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

bool isSourceFile(const std::string& word, const std::string& directory) {
  std::error_code error;
  return word.ends_with(".java") && fs::is_regular_file(fs::path(directory) / word, error);
}

[[noreturn]] void refuseSource(const std::string& file) {
  throw ImportError(concat({"java compiles ", shown(file),
                            " at every start, which only java itself "
                            "does: compile it with javac -d FOLDER, and import java -cp FOLDER "
                            "with its class"}));
}

/// The archives in a folder in the folder's order, as java has them for "FOLDER/*".
std::vector<std::string> archivesIn(const std::string& folder, const std::string& directory) {
  std::vector<std::string> archives;
  std::error_code error;
  const fs::path path = fs::path(directory) / (folder.empty() ? "." : folder);
  if (!fs::is_directory(path, error)) return archives;
  for (const std::string& name : namesIn(path)) {
    const bool isArchive = name.ends_with(".jar") || name.ends_with(".JAR");
    if (isArchive && name.find(':') == std::string::npos) archives.push_back(folder + name);
  }
  return archives;
}

class Reader {
 public:
  explicit Reader(const JavaStart& start) : start_(start), words_(wordsOfJava(start)) {}

  JavaCommandLine read() {
    while (at_ < words_.size() && words_[at_].text.starts_with('-') && !hasEnded_) takeOption();
    if (!hasEnded_) takeWhat();
    for (; at_ < words_.size(); ++at_) line_.arguments.push_back(words_[at_]);
    chooseClassPath();
    return std::move(line_);
  }

 private:
  void takeOption() {
    const SourcedWord word = words_[at_++];
    const std::string& text = word.text;
    if (text.starts_with(classPathOption)) {
      line_.classPath = SourcedWord{text.substr(classPathOption.size()), word.from};
      return;
    }
    if (const JavaProgramOption* own = javaProgramOption(text))
      return takeOwn(*own, word, signOfValue(text));
    if (text.starts_with("-XXaltjvm=")) {
      line_.losses.push_back(lossOf(word, "name the library of that JVM in java.library"));
      return;
    }
    if (lengthOfOldSizeName(text) > 0) return take({"-X" + text.substr(1), word.from});
    take(word);
  }

  void takeOwn(const JavaProgramOption& own, const SourcedWord& word, std::size_t sign) {
    using Use = JavaProgramOption::Use;
    const bool hasValue = sign != std::string::npos;
    switch (own.use) {
      case Use::mode:
        line_.kind = JavaCommandLine::Kind::archive;
        return;
      case Use::module:
        line_.kind = JavaCommandLine::Kind::module;
        line_.what = valueOf(word, sign);
        hasEnded_ = true;
        return;
      case Use::classPath:
        line_.classPath = expanded(valueOf(word, sign));
        return;
      case Use::joined: {
        if (hasValue) return take(word);
        const std::string_view name = own.with.empty() ? own.name : own.with;
        return take({concat({name, "=", valueOf(word, sign).text}), word.from});
      }
      case Use::replaced:
        return take({std::string(own.with), word.from});
      case Use::otherJvm:
        return chooseJvm(own.name.substr(1));
      case Use::nothing:
        return;
      case Use::itself:
        line_.losses.push_back(lossOf(word, own.with));
        return;
      case Use::source:
        refuseSource("its source file");
      case Use::ends:
        throw ImportError(concat({"the command line has ", shown(word.text), " (", word.from,
                                  "), which prints something and starts nothing"}));
    }
  }

  static std::string lossOf(const SourcedWord& word, std::string_view why) {
    return concat({printable(word.text), " (", word.from, "): ", why});
  }

  void take(const SourcedWord& option) {
    constexpr unsigned firstWithoutVariable = 18;
    const unsigned release = start_.jvm ? start_.jvm->release : 0;
    if (option.text.starts_with("-XX:NativeMemoryTracking=") && release != 0 &&
        release < firstWithoutVariable)
      line_.losses.push_back(lossOf(
          option, "before Java 18 only java itself can switch it on, and the JVM ignores it"));
    line_.options.push_back(option);
  }

  SourcedWord valueOf(const SourcedWord& word, std::size_t sign) {
    if (sign != std::string::npos) return {word.text.substr(sign + 1), word.from};
    if (at_ == words_.size())
      throw ImportError(concat({shown(word.text), " (", word.from, ") needs a value"}));
    return words_[at_++];
  }

  /// java also ignores a JVM that the home does not have.
  void chooseJvm(std::string_view kind) {
    if (!start_.jvm) return;
    const fs::path library = start_.jvm->library.parent_path().parent_path() / kind / "libjvm.so";
    std::error_code error;
    line_.library = fs::is_regular_file(library, error) ? library.native() : "";
  }

  SourcedWord expanded(const SourcedWord& given) {
    std::string text;
    for (std::size_t at = 0; at <= given.text.size();) {
      const std::size_t end = std::min(given.text.find(':', at), given.text.size());
      const std::string element = given.text.substr(at, end - at);
      const bool isPattern = element == "*" || element.ends_with("/*");
      std::vector<std::string> archives;
      if (isPattern) archives = archivesIn(element.substr(0, element.size() - 1), start_.directory);
      if (archives.empty()) archives = {element};
      if (isPattern && archives.front() != element)
        line_.notes.push_back(concat(
            {"The archives of ", printable(element),
             " are those of now: add one to java.class.path too when you add it to the folder."}));
      for (const std::string& archive : archives)
        text += (text.empty() && at == 0 ? "" : ":") + archive;
      at = end + 1;
    }
    return {text, given.from};
  }

  void takeWhat() {
    if (at_ == words_.size())
      throw ImportError("the command line names no start class, archive or module");
    line_.what = words_[at_++];
    if (line_.what.text.empty())
      throw ImportError(concat({"the start class or archive of the command line is empty (",
                                line_.what.from, "): java does not start"}));
    if (line_.kind == JavaCommandLine::Kind::startClass &&
        isSourceFile(line_.what.text, start_.directory))
      refuseSource(line_.what.text);
  }

  void chooseClassPath() {
    if (line_.kind == JavaCommandLine::Kind::archive) {
      if (line_.classPath)
        line_.notes.push_back(concat(
            {"The class path of ", line_.classPath->from, " has no effect: -jar replaces it."}));
      line_.classPath = line_.what;
      return;
    }
    if (line_.classPath) return;
    const auto variable = start_.environment.find("CLASSPATH");
    if (variable != start_.environment.end())
      line_.classPath = expanded({variable->second, "CLASSPATH"});
  }

  const JavaStart& start_;
  std::vector<SourcedWord> words_;
  std::size_t at_ = 0;
  bool hasEnded_ = false;
  JavaCommandLine line_;
};

}  // namespace

JavaCommandLine readJavaCommandLine(const JavaStart& start) {
  return Reader(start).read();
}
