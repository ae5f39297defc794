#include "kvf/import/JavaCommandLine.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

#include "foundation/TextPieces.h"
#include "javarun/ClassPath.h"
#include "kvf/import/ImportError.h"
#include "kvf/import/JavaWords.h"
#include "kvf/jvm/JavaProgramOptions.h"
#include "kvf/process/Files.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

/// An option that the program java does not pass on as it is.
struct OwnOption {
  enum class Kind {
    mode,       ///< -jar
    module,     ///< its value, or the next word, ends the options
    classPath,  ///< its value, or the next word
    joined,     ///< a JVM gets the next word after "="
    replaced,   ///< by `with`
    otherJvm,   ///< the folder of another JVM is its name
    noEffect,   ///< java ignores it
    lost,       ///< `with` says why
    ends,       ///< java prints something and ends
  };
  std::string_view name;
  Kind kind;
  std::string_view with = {};
};

constexpr std::string_view printsOnly = "which prints something and starts nothing";

constexpr OwnOption ownOptions[] = {
    {"-jar", OwnOption::Kind::mode},
    {"-m", OwnOption::Kind::module},
    {"--module", OwnOption::Kind::module},
    {"-cp", OwnOption::Kind::classPath},
    {"-classpath", OwnOption::Kind::classPath},
    {"--class-path", OwnOption::Kind::classPath},
    {"-p", OwnOption::Kind::joined, "--module-path"},
    {"--module-path", OwnOption::Kind::joined},
    {"--upgrade-module-path", OwnOption::Kind::joined},
    {"--add-modules", OwnOption::Kind::joined},
    {"--limit-modules", OwnOption::Kind::joined},
    {"--add-exports", OwnOption::Kind::joined},
    {"--add-opens", OwnOption::Kind::joined},
    {"--add-reads", OwnOption::Kind::joined},
    {"--patch-module", OwnOption::Kind::joined},
    {"--enable-native-access", OwnOption::Kind::joined},
    {"--show-module-resolution", OwnOption::Kind::replaced,
     "-Djdk.module.showModuleResolution=true"},
    {"-verbosegc", OwnOption::Kind::replaced, "-verbose:gc"},
    {"-noclassgc", OwnOption::Kind::replaced, "-Xnoclassgc"},
    {"-debug", OwnOption::Kind::replaced, "-Xdebug"},
    {"-noverify", OwnOption::Kind::replaced, "-Xverify:none"},
    {"-verify", OwnOption::Kind::replaced, "-Xverify:all"},
    {"-verifyremote", OwnOption::Kind::replaced, "-Xverify:remote"},
    {"-Xfuture", OwnOption::Kind::replaced, "-Xverify:all"},
    {"-server", OwnOption::Kind::otherJvm},
    {"-client", OwnOption::Kind::otherJvm},
    {"-minimal", OwnOption::Kind::otherJvm},
    {"-zero", OwnOption::Kind::otherJvm},
    {"-dcevm", OwnOption::Kind::otherJvm},
    {"-hotspot", OwnOption::Kind::noEffect},
    {"-d64", OwnOption::Kind::noEffect},
    {"-jre-restrict-search", OwnOption::Kind::noEffect},
    {"-jre-no-restrict-search", OwnOption::Kind::noEffect},
    {"-no-jre-restrict-search", OwnOption::Kind::noEffect},
    {"-Xdiag", OwnOption::Kind::lost, "the launcher has no diagnostics of java itself"},
    {"-XshowSettings", OwnOption::Kind::lost, "only java prints its settings; see kvf explain"},
    {"-showversion", OwnOption::Kind::lost, "only java prints the version"},
    {"--show-version", OwnOption::Kind::lost, "only java prints the version"},
    {"-splash", OwnOption::Kind::lost, "only java shows a picture before the application starts"},
    {"--validate-modules", OwnOption::Kind::ends},
    {"--list-modules", OwnOption::Kind::ends},
    {"--dry-run", OwnOption::Kind::ends},
    {"--describe-module", OwnOption::Kind::ends},
    {"-d", OwnOption::Kind::ends},
    {"-version", OwnOption::Kind::ends},
    {"--version", OwnOption::Kind::ends},
    {"-fullversion", OwnOption::Kind::ends},
    {"--full-version", OwnOption::Kind::ends},
    {"-help", OwnOption::Kind::ends},
    {"--help", OwnOption::Kind::ends},
    {"-h", OwnOption::Kind::ends},
    {"-?", OwnOption::Kind::ends},
    {"-X", OwnOption::Kind::ends},
    {"--help-extra", OwnOption::Kind::ends},
};

/// A JVM knows old options by the name with an "X" in it.
constexpr std::string_view oldSizes[] = {"-ms", "-mx", "-ss", "-oss"};

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
    if (text == "--source" || text.starts_with("--source=")) refuseSource("its source file");
    // "--name=value", and two with a colon.
    std::size_t sign = text.starts_with("--") ? text.find('=') : std::string::npos;
    if (text.starts_with("-splash:") || text.starts_with("-XshowSettings:")) sign = text.find(':');
    const std::string name = text.substr(0, sign);
    const auto* own = std::find_if(std::begin(ownOptions), std::end(ownOptions),
                                   [&](const OwnOption& option) { return option.name == name; });
    if (own != std::end(ownOptions)) return takeOwn(*own, word, sign);
    if (text.starts_with("-XXaltjvm=")) {
      line_.losses.push_back(lossOf(word, "name the library of that JVM in java.library"));
      return;
    }
    for (const std::string_view old : oldSizes) {
      if (text.starts_with(old)) return take({"-X" + text.substr(1), word.from});
    }
    take(word);
  }

  void takeOwn(const OwnOption& own, const SourcedWord& word, std::size_t sign) {
    using Kind = OwnOption::Kind;
    const bool hasValue = sign != std::string::npos;
    switch (own.kind) {
      case Kind::mode:
        line_.kind = JavaCommandLine::Kind::archive;
        return;
      case Kind::module:
        line_.kind = JavaCommandLine::Kind::module;
        line_.what = valueOf(word, sign);
        hasEnded_ = true;
        return;
      case Kind::classPath:
        line_.classPath = expanded(valueOf(word, sign));
        return;
      case Kind::joined: {
        if (hasValue) return take(word);
        const std::string_view name = own.with.empty() ? own.name : own.with;
        return take({concat({name, "=", valueOf(word, sign).text}), word.from});
      }
      case Kind::replaced:
        return take({std::string(own.with), word.from});
      case Kind::otherJvm:
        return chooseJvm(own.name.substr(1));
      case Kind::noEffect:
        return;
      case Kind::lost:
        line_.losses.push_back(lossOf(word, own.with));
        return;
      case Kind::ends:
        throw ImportError(concat(
            {"the command line has ", shown(word.text), " (", word.from, "), ", printsOnly}));
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
