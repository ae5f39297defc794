#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/text/Text.h"

namespace {

struct JvmQuestion {
  bool line = false;
  unsigned minRelease = 0;
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
int refuse(const std::vector<Jvm>& jvms, unsigned minRelease) {
  const std::string wanted =
      minRelease > 0 ? concat({" of Java ", std::to_string(minRelease), " or newer"}) : "";
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

int printNewest(const std::vector<Jvm>& jvms, const JvmQuestion& question) {
  const Jvm* newest = newestJvm(jvms, question.minRelease);
  if (newest == nullptr) return refuse(jvms, question.minRelease);
  return question.json ? printJson(asJson(*newest)) : print(libraryLine(*newest));
}

int answer(const JvmQuestion& question) {
  const std::vector<Jvm> jvms = findJvms(usualJvmPlaces());
  if (question.line) return printNewest(jvms, question);
  if (question.json) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Jvm& jvm : jvms) list.push_back(asJson(jvm));
    const ExitStatus status = printJson({{"jvms", list}});
    return status == success && jvms.empty() ? negative : status;
  }
  if (jvms.empty()) return refuse(jvms, 0);
  std::string text;
  for (const Jvm& jvm : jvms) text += asText(jvm);
  return print(text);
}

}  // namespace

RunSubcommand declareJvm(CLI::App& command) {
  const auto question = std::make_shared<JvmQuestion>();
  command
      .add_option_function<unsigned>(
          "--line",
          [question](unsigned release) {
            question->line = true;
            question->minRelease = release;
          },
          "Print the java.library line for the newest JVM of at least this release")
      ->type_name("RELEASE")
      ->expected(0, 1)
      ->default_str("0");
  command.add_flag("--json", question->json, "Print JSON");
  return [question](const LauncherArguments& /*arguments*/) { return answer(*question); };
}
