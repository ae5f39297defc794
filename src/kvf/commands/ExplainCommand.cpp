#include <CLI/CLI.hpp>
#include <initializer_list>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include <unistd.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/explain/Explanation.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/launch/Inspector.h"
#include "kvf/launch/Secrets.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Keys.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

using Json = nlohmann::ordered_json;

struct ExplainOptions {
  std::string file;
  std::string key;
  bool json = false;
  bool showsSecrets = false;
};

/// A line for a person: nothing in it reaches a terminal as anything but text.
std::string line(std::initializer_list<std::string_view> pieces) {
  return printable(concat(pieces)) + "\n";
}

std::string headline(std::string_view text) {
  return "\n" + line({text});
}

Json asJson(const Source& source) {
  return {{"origin", source.place}, {"value", source.value}};
}

// --- the whole launch -------------------------------------------------------------------------

Json propertiesAsJson(const Inspection& inspection) {
  Json list = Json::array();
  for (const ExplainedProperty& property : explainProperties(inspection)) {
    Json overrode = Json::array();
    for (const Source& source : property.overrode) overrode.push_back(asJson(source));
    list.push_back({{"key", property.key},
                    {"value", property.origin.value},
                    {"origin", property.origin.place},
                    {"overrode", std::move(overrode)},
                    {"usedBy", property.users}});
  }
  return list;
}

std::string usersAsText(const std::vector<std::string>& users) {
  std::string text;
  for (const std::string& place : users) text += line({"      used by ", place});
  return text;
}

std::string propertiesAsText(const Inspection& inspection) {
  std::string text = "Properties\n";
  for (const ExplainedProperty& property : explainProperties(inspection)) {
    text += line({"  ", property.key, " = ", shownWhole(property.origin.value), "  (",
                  property.origin.place, ")"});
    for (const Source& source : property.overrode) {
      text += line({"      not ", shownWhole(source.value), "  (", source.place, ")"});
    }
    if (findKey(property.key) == nullptr) text += usersAsText(property.users);
  }
  return text;
}

Json environmentAsJson(const Inspection& inspection) {
  Json list = Json::array();
  for (const auto& [name, value] : inspection.plan.exported) {
    list.push_back({{"name", name}, {"value", value}});
  }
  return list;
}

std::string environmentAsText(const Inspection& inspection) {
  if (inspection.plan.exported.empty()) return {};
  std::string text = headline("Exported environment");
  for (const auto& [name, value] : inspection.plan.exported) {
    text += line({"  ", name, " = ", shownWhole(value)});
  }
  return text;
}

/// Calls visit(element, its part of the scan) for every element of the class path.
template <class Visit>
void forEachElement(const Inspection& inspection, Visit&& visit) {
  std::size_t at = 0;
  for (const ClassPathElement& element : inspection.plan.classPath) {
    const auto& scanned = inspection.classPath->elements();
    const auto first = scanned.begin() + static_cast<std::ptrdiff_t>(at);
    at += element.expanded.size();
    const auto last = scanned.begin() + static_cast<std::ptrdiff_t>(at);
    visit(element, std::vector<ScannedElement>(first, last));
  }
}

Json classPathAsJson(const Inspection& inspection) {
  Json list = Json::array();
  if (!inspection.classPath) return list;
  forEachElement(inspection, [&](const ClassPathElement& element, const auto& scanned) {
    Json brings = Json::array();
    for (const ScannedElement& one : scanned) {
      brings.push_back({{"path", one.path}, {"brings", whatItBrings(one)}});
    }
    list.push_back({{"written", element.written}, {"expanded", std::move(brings)}});
  });
  return list;
}

std::string classPathOrigin(const Inspection& inspection) {
  const char* key = inspection.plan.classPathKey;
  if (key == nullptr) return "from CLASSPATH, or the working directory";
  return concat({key, ", ", inspection.nameOf(inspection.positionOf(key))});
}

std::string classPathAsText(const Inspection& inspection) {
  if (!inspection.classPath) return {};
  std::string text = headline("Class path (" + classPathOrigin(inspection) + ")");
  forEachElement(inspection, [&](const ClassPathElement& element, const auto& scanned) {
    text += line({"  ", shownWhole(element.written)});
    for (const ScannedElement& one : scanned) {
      // What the launcher searched stays in the class path in front of what it found.
      const bool isMark = element.searched && &one == &scanned.front() && one.path.ends_with("**");
      text +=
          line({"      ", one.path, "  ",
                isMark ? "nothing by itself: the folder that was searched" : whatItBrings(one)});
    }
  });
  if (!inspection.valueOf(keys::classPathExtended).empty()) {
    text += "  \"\"  the working directory, as the list ends with \":\"\n";
  }
  return text;
}

std::optional<Jvm> jvmOf(const Inspection& inspection) {
  const std::string library = inspection.valueOf(keys::javaLibrary);
  if (library.empty()) return std::nullopt;
  return jvmOfLibrary(inspection.atApplication(library));
}

Json jvmAsJson(const Inspection& inspection) {
  if (!inspection.isJava()) return nullptr;
  const std::optional<Jvm> jvm = jvmOf(inspection);
  return {{"library", inspection.valueOf(keys::javaLibrary)},
          {"version", jvm ? Json(jvm->version) : Json(nullptr)},
          {"vendor", jvm ? Json(jvm->vendor) : Json(nullptr)}};
}

std::string jvmAsText(const Inspection& inspection) {
  if (!inspection.isJava()) return {};
  const std::optional<Jvm> jvm = jvmOf(inspection);
  std::string text = headline("JVM library");
  text += line({"  ", shownWhole(inspection.valueOf(keys::javaLibrary)), "  (",
                inspection.nameOf(inspection.positionOf(keys::javaLibrary)), ")"});
  if (!jvm) return text + line({"  no JVM whose version can be told is there"});
  return text + line({"  Java ", jvm->version.empty() ? "of unknown version" : jvm->version, ", ",
                      jvm->vendor.empty() ? "vendor unknown" : jvm->vendor});
}

std::string listAsText(const std::string& title, const std::vector<std::string>& list) {
  if (list.empty()) return {};
  std::string text = headline(title);
  for (const std::string& one : list) text += line({"  ", printableShellWord(one)});
  return text;
}

std::string commandAsText(const Inspection& inspection) {
  if (!inspection.classPath) return {};
  std::string text = headline("The same with the program java");
  for (const std::string& difference : differencesOfJavaCommand(inspection)) {
    text += line({"  # except that ", difference});
  }
  const std::string command = equivalentJavaCommand(inspection, printableShellWord);
  if (command != equivalentJavaCommand(inspection, shellWord)) {
    text += line({"  # for bash, ksh and zsh, as $'...' is not known to every sh"});
  }
  return text + line({command});
}

Json fatalAsJson(const Inspection& inspection) {
  Json list = Json::array();
  for (const Finding& finding : fatalFindings(inspection)) {
    list.push_back({{"origin", inspection.nameOf(finding.at)},
                    {"message", finding.message.empty() ? finding.text : finding.message},
                    {"rule", finding.rule->id}});
  }
  return list;
}

std::string fatalAsText(const Inspection& inspection) {
  std::string text;
  for (const Finding& finding : fatalFindings(inspection)) {
    text += line({"The launch ends at ", inspection.nameOf(finding.at), ": ",
                  finding.message.empty() ? finding.text : shownWhole(finding.message)});
  }
  return text.empty() ? text : text + "\n";
}

std::string launchAsText(const Inspection& inspection) {
  const LaunchPlan& plan = inspection.plan;
  const bool isJava = inspection.classPath.has_value();
  return fatalAsText(inspection) + propertiesAsText(inspection) + headline("Working directory") +
         line({"  ", plan.directory}) + environmentAsText(inspection) +
         classPathAsText(inspection) + jvmAsText(inspection) +
         (isJava ? listAsText("JVM options", plan.options) : std::string()) +
         listAsText("Application arguments", plan.arguments) + commandAsText(inspection);
}

Json launchAsJson(const Inspection& inspection) {
  const LaunchPlan& plan = inspection.plan;
  return {{"endsWith", fatalAsJson(inspection)},
          {"properties", propertiesAsJson(inspection)},
          {"directory", plan.directory},
          {"environment", environmentAsJson(inspection)},
          {"classPath", classPathAsJson(inspection)},
          {"jvm", jvmAsJson(inspection)},
          {"options", inspection.classPath ? Json(plan.options) : Json::array()},
          {"arguments", plan.arguments},
          {"command",
           inspection.classPath ? Json(equivalentJavaCommand(inspection, shellWord)) : nullptr},
          {"differences",
           inspection.classPath ? Json(differencesOfJavaCommand(inspection)) : Json::array()}};
}

// --- one key ----------------------------------------------------------------------------------

std::string entryAsText(const ExplainedEntry& entry) {
  std::string text = line({"  ", entry.source.place, "  ", shownWhole(entry.written),
                           entry.used ? "" : "  (not used)"});
  for (const ExplainedReference& reference : entry.references) {
    text += line({"      %", reference.name, "% = ", shownWhole(reference.value), "  (",
                  reference.from, ")"});
  }
  return text;
}

std::string keyInfoAsText(const KeyInfo& info) {
  std::string text;
  const auto add = [&](std::string_view label, std::string_view content) {
    if (!content.empty()) text += line({"  ", label, ": ", content});
  };
  add("becomes", info.becomes);
  add("type", info.type);
  add("default", info.fallback);
  add("mind", info.traps);
  return text;
}

std::string keyAsText(const Inspection& inspection, const std::string& key) {
  const auto value = inspection.value(key.c_str());
  std::string text = line({key, " ", value ? "= " + shownWhole(*value) : "is not set"});
  for (const ExplainedEntry& entry : explainKey(inspection, key)) {
    text += entryAsText(entry);
  }
  text += usersAsText(usersOf(inspection, key));
  if (const KeyInfo* info = findKey(key)) text += keyInfoAsText(*info);
  return text;
}

Json keyAsJson(const Inspection& inspection, const std::string& key) {
  const auto value = inspection.value(key.c_str());
  Json chain = Json::array();
  for (const ExplainedEntry& entry : explainKey(inspection, key)) {
    Json references = Json::array();
    for (const ExplainedReference& reference : entry.references) {
      references.push_back(
          {{"name", reference.name}, {"value", reference.value}, {"from", reference.from}});
    }
    Json one = asJson(entry.source);
    one["written"] = entry.written;
    one["used"] = entry.used;
    one["references"] = std::move(references);
    chain.push_back(std::move(one));
  }
  return {{"key", key},
          {"value", value ? Json(*value) : Json(nullptr)},
          {"chain", std::move(chain)},
          {"usedBy", usersOf(inspection, key)}};
}

int runExplain(const ExplainOptions& options, const std::vector<std::string>& arguments) {
  if (::access(options.file.c_str(), R_OK) != 0) {
    return complain(shown(options.file) + " cannot be read");
  }
  Inspection inspection = inspectFile(options.file, arguments);
  if (!options.showsSecrets) Secrets(inspection).mask(inspection);
  if (options.key.empty()) {
    return options.json ? printJson(launchAsJson(inspection)) : print(launchAsText(inspection));
  }
  if (explainKey(inspection, options.key).empty() && findKey(options.key) == nullptr) {
    return complain(concat({"there is no key ", shown(options.key),
                            didYouMean(nearestName(options.key, settableKeys()))}));
  }
  return options.json ? printJson(keyAsJson(inspection, options.key))
                      : print(keyAsText(inspection, options.key));
}

}  // namespace

RunSubcommand declareExplain(CLI::App& command) {
  const auto options = std::make_shared<ExplainOptions>();
  command.add_option("FILE", options->file, "A properties file")->required();
  command.add_option("--key", options->key, "One key alone, with its chain of definitions")
      ->type_name("KEY");
  command.add_flag("--json", options->json, "Print JSON");
  command.add_flag("--show-secrets", options->showsSecrets, "Print passwords instead of ***");
  return [options](const LauncherArguments& arguments) { return runExplain(*options, arguments); };
}
