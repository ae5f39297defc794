#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "config/PropertiesScanner.h"
#include "foundation/PropertyKeys.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/jvm/JvmChoice.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/process/FileReplacement.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/NewFile.h"
#include "kvf/process/PreparedFile.h"
#include "kvf/text/Text.h"

namespace {

struct JvmQuestion {
  bool line = false;
  std::string releases;
  std::filesystem::path file;  ///< to write the line to; empty: standard output
  bool json = false;
};

std::string libraryLine(const Jvm& jvm) {
  return "java.library=" + spelledInPropertiesFile(jvm.library.native()) + "\n";
}

nlohmann::ordered_json asJson(const Jvm& jvm) {
  nlohmann::ordered_json homes = nlohmann::ordered_json::array();
  for (const auto& home : jvm.homes) homes.push_back(home.native());
  return {{"version", jvm.version},
          {"release", jvm.release},
          {"vendor", jvm.vendor},
          {"home", jvm.home.native()},
          {"library", jvm.library.native()},
          {"java", jvm.java.native()},
          {"foundBy", jvm.foundBy},
          {"homes", homes}};
}

/// For a person: a terminal takes each line as text.
std::string asText(const Jvm& jvm) {
  const auto line = [](std::initializer_list<std::string_view> pieces) {
    return printable(concat(pieces)) + "\n";
  };
  std::string text =
      line({jvm.version.empty() ? "unknown version" : jvm.version, jvm.vendor.empty() ? "" : "  ",
            jvm.vendor, "  (found by ", jvm.foundBy, ")"});
  text += line({"    java.library=", spelledInPropertiesFile(jvm.library.native())});
  if (!jvm.java.empty()) {
    text += line({"    java.path=", spelledInPropertiesFile(jvm.java.native())});
  }
  for (const auto& home : jvm.homes) {
    if (home != jvm.home) text += line({"    also ", home.native()});
  }
  return text;
}

/// Says why no JVM suits.
int refuse(const std::vector<Jvm>& jvms, const JavaReleases& releases) {
  const std::string wanted = releases.description();
  if (jvms.empty()) {
    complain(concat({"no JVM", wanted, " found; install one, or name its folder with JAVA_HOME"}));
  } else {
    const Jvm& newest = jvms.front();
    complain(
        concat({"no JVM", wanted, " found; the newest is ",
                newest.version.empty() ? "one" : newest.version, " in ", newest.home.native()}));
  }
  return negative;
}

/// Says where a text drops a line, which is then neither a comment nor an entry.
class DroppedLine final : public AssemblyObserver {
 public:
  void lineDropped(std::size_t /*offset*/) override { found_ = true; }
  [[nodiscard]] bool found() const { return found_; }

 private:
  bool found_ = false;
};

/// The text with another java.library line, in the place of the one that counts. Nothing where that
/// is not the only thing that it sets.
std::optional<std::string> withLine(const std::string& text, const std::string& line) {
  const bool isBlank = text.find_first_not_of(" \t\r\n") == std::string::npos;
  if (isBlank) return line;
  DroppedLine dropped;
  PropertiesScanner scanner(text, dropped);
  std::optional<PropertiesEntry> last;
  for (PropertiesEntry entry; scanner.next(entry); last = entry)
    if (entry.key.view() != keys::javaLibrary) return std::nullopt;
  if (!last || dropped.found() || text.find('\0') != std::string::npos) return std::nullopt;
  std::string result = text;
  return result.replace(last->keyAt, last->endAt - last->keyAt, line, 0,
                        line.size() - (last->endedByLineEnd ? 1 : 0));
}

/// Puts the line into the file, which is then whole, or stays as it was.
int put(const std::string& line, const std::filesystem::path& file) {
  if (std::filesystem::exists(std::filesystem::symlink_status(file))) {
    const FileReplacement replacement(file);
    const std::optional<std::string> text = withLine(replacement.text(), line);
    if (!text) {
      return complain(
          concat({shown(file.native()),
                  " holds other entries, or no java.library line to replace: name a separate "
                  "file, and include that with velox.include.kvf"}));
    }
    if (replacement.text() != *text) replacement.replace(*text);
    return success;
  }
  PreparedFile made(file, line, usualFileMode());
  made.place();
  made.keep();
  return success;
}

int nameOne(const std::vector<Jvm>& jvms, const JvmPlaces& places, const JvmQuestion& question) {
  JavaReleases releases;
  if (!question.releases.empty()) {
    const auto given = JavaReleases::of(question.releases);
    if (!given)
      return complain(
          concat({shown(question.releases), " is not a release of Java, such as 17 or 17..25"}));
    releases = *given;
  }
  const std::optional<Jvm> jvm = chosenJvm(places, jvms, releases);
  if (!jvm) return refuse(jvms, releases);
  if (!question.file.empty()) {
    const InterruptionWatch interruptions;
    return put(libraryLine(*jvm), question.file);
  }
  return question.json ? printJson(asJson(*jvm)) : print(libraryLine(*jvm));
}

int answer(const JvmQuestion& question) {
  const JvmPlaces places = usualJvmPlaces();
  const std::vector<Jvm> jvms = findJvms(places);
  if (question.line || !question.file.empty()) return nameOne(jvms, places, question);
  if (question.json) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Jvm& jvm : jvms) list.push_back(asJson(jvm));
    const ExitStatus status = printJson({{"jvms", list}});
    return status == success && jvms.empty() ? negative : status;
  }
  if (jvms.empty()) return refuse(jvms, {});
  std::string text;
  for (const Jvm& jvm : jvms) text += asText(jvm);
  return print(text);
}

}  // namespace

RunSubcommand declareJvm(CLI::App& command) {
  const auto question = std::make_shared<JvmQuestion>();
  command
      .add_option_function<std::string>(
          "--line",
          [question](const std::string& releases) {
            question->line = true;
            question->releases = releases;
          },
          "Print the java.library line for a JVM of this release, such as 17 or 17..25")
      ->type_name("RELEASE")
      ->expected(0, 1)
      ->default_str("");
  command
      .add_option("--write", question->file,
                  "Put the line into this file, completely or not at all")
      ->type_name("FILE");
  command.add_flag("--json", question->json, "Print JSON");
  return [question](const LauncherArguments& /*arguments*/) { return answer(*question); };
}
