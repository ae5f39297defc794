#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/report/RuleText.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

std::string indented(std::string_view lines) {
  std::string result;
  for (std::size_t start = 0; start < lines.size();) {
    const std::size_t end = std::min(lines.find('\n', start), lines.size());
    result += concat({"    ", lines.substr(start, end - start), "\n"});
    start = end + 1;
  }
  return result;
}

std::string listOfRules() {
  std::size_t width = 0;
  for (const Rule* rule : allRules()) width = std::max(width, std::string_view(rule->id).size());
  std::string list;
  for (const Rule* rule : allRules()) {
    std::string id = rule->id;
    id.resize(width, ' ');
    const char* severity = rule->severity == Severity::error ? "error  " : "warning";
    list += concat({id, "  ", severity, "  ", rule->summary, "\n"});
  }
  return list;
}

std::string explained(const Rule& rule) {
  return concat({rule.id, " (", nameOf(rule.severity), "): ", rule.summary, "\n\n",
                 rule.explanation, "\n\nExample:\n", indented(exampleText(rule.example)),
                 "Remedy:\n", indented(exampleText(rule.remedy)), "Disable it with --disable ",
                 rule.id, ", or above an entry with the comment\n",
                 indented(std::string("# kvf: allow ") + rule.id)});
}

nlohmann::ordered_json asJson(const Rule& rule) {
  return {{"id", rule.id},
          {"severity", nameOf(rule.severity)},
          {"summary", rule.summary},
          {"explanation", rule.explanation},
          {"example", exampleText(rule.example)},
          {"remedy", exampleText(rule.remedy)}};
}

int printAllAsJson() {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Rule* rule : allRules()) list.push_back(asJson(*rule));
  return printJson({{"rules", list}});
}

int showRules(const std::string& id, bool json) {
  if (id.empty()) return json ? printAllAsJson() : print(listOfRules());
  if (const Rule* rule = findRule(id))
    return json ? printJson(asJson(*rule)) : print(explained(*rule));
  std::vector<std::string_view> ids;
  for (const Rule* known : allRules()) ids.emplace_back(known->id);
  return complain(concat({"there is no rule ", shown(id), didYouMean(nearestName(id, ids))}));
}

}  // namespace

RunSubcommand declareRules(CLI::App& command) {
  const auto id = std::make_shared<std::string>();
  const auto json = std::make_shared<bool>(false);
  command.add_option("RULE", *id, "The name of a rule");
  command.add_flag("--json", *json, "Print JSON");
  return [=](const LauncherArguments& /*arguments*/) { return showRules(*id, *json); };
}
