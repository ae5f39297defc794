#include "kvf/commands/JvmCommand.h"

#include <CLI/CLI.hpp>
#include <initializer_list>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "kvf/jvm/JvmSearch.h"
#include "kvf/text/PropertiesText.h"
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

void printJson(const nlohmann::ordered_json& json) {
  // Paths may hold any bytes.
  std::cout << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

/// A line for a person, which a terminal takes as text.
void printLine(std::initializer_list<std::string_view> pieces) {
  std::cout << printable(concat(pieces)) << '\n';
}

void printText(const Jvm& jvm) {
  printLine({jvm.version.empty() ? "unknown version" : jvm.version, jvm.vendor.empty() ? "" : "  ",
             jvm.vendor, "  (found by ", jvm.foundBy, ")"});
  printLine({"    java.library=", spelledInPropertiesFile(jvm.library.native())});
  if (!jvm.java.empty()) {
    printLine({"    java.path=", spelledInPropertiesFile(jvm.java.native())});
  }
  for (const auto& home : jvm.homes) {
    if (home != jvm.home) printLine({"    also ", home.native()});
  }
}

int complain(const std::vector<Jvm>& jvms, unsigned minRelease) {
  std::cerr << "kvf: no JVM";
  if (minRelease > 0) std::cerr << " of Java " << minRelease << " or newer";
  std::cerr << " found; ";
  if (jvms.empty()) {
    std::cerr << "install one, or name its folder with JAVA_HOME\n";
  } else {
    std::cerr << "the newest is "
              << (jvms.front().version.empty() ? "one" : printable(jvms.front().version)) << " in "
              << printable(jvms.front().home.native()) << '\n';
  }
  return 1;
}

int answer(const JvmQuestion& question) {
  const std::vector<Jvm> jvms = findJvms(usualJvmPlaces());
  if (question.line) {
    const Jvm* newest = newestJvm(jvms, question.minRelease);
    if (newest == nullptr) return complain(jvms, question.minRelease);
    if (question.json) {
      printJson(asJson(*newest));
    } else {
      std::cout << libraryLine(*newest);
    }
    return 0;
  }
  if (question.json) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Jvm& jvm : jvms) list.push_back(asJson(jvm));
    printJson({{"jvms", list}});
    return jvms.empty() ? 1 : 0;
  }
  if (jvms.empty()) return complain(jvms, 0);
  for (const Jvm& jvm : jvms) printText(jvm);
  return 0;
}

}  // namespace

void addJvmCommand(CLI::App& app, int& status) {
  auto question = std::make_shared<JvmQuestion>();
  CLI::App* command = app.add_subcommand("jvm", "Lists the JVMs of this machine");
  command
      ->add_option_function<unsigned>(
          "--line",
          [question](unsigned release) {
            question->line = true;
            question->minRelease = release;
          },
          "Print the java.library line for the newest JVM of at least this release")
      ->type_name("RELEASE")
      ->expected(0, 1)
      ->default_str("0");
  command->add_flag("--json", question->json, "Print JSON");
  command->callback([question, &status] { status = answer(*question); });
}
