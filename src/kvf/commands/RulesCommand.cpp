#include "kvf/commands/RulesCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "kvf/rules/Rules.h"
#include "kvf/text/Text.h"

namespace {

constexpr int unknownRule = 2;

std::string indented(std::string_view text) {
  std::string result = "    ";
  for (const char c : text) {
    result += c;
    if (c == '\n') result += "    ";
  }
  return result + "\n";
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
                 rule.explanation, "\n\nExample:\n", indented(rule.example), "Remedy:\n",
                 indented(rule.remedy), "Leave it out with --disable ", rule.id,
                 ", or in front of an entry with the comment\n",
                 indented(std::string("# kvf: allow ") + rule.id)});
}

int showRules(const std::string& id) {
  if (id.empty()) {
    std::fputs(listOfRules().c_str(), stdout);
    return 0;
  }
  const Rule* rule = findRule(id);
  if (rule == nullptr) {
    std::vector<std::string_view> ids;
    for (const Rule* known : allRules()) ids.emplace_back(known->id);
    const std::string hint = didYouMean(nearestName(id, ids));
    std::fprintf(stderr, "kvf: there is no rule %s%s\n", shown(id).c_str(), hint.c_str());
    return unknownRule;
  }
  std::fputs(explained(*rule).c_str(), stdout);
  return 0;
}

}  // namespace

void addRulesCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand("rules", "Lists the rules, or explains one.");
  const auto id = std::make_shared<std::string>();
  command->add_option("RULE", *id, "The name of a rule");
  command->final_callback([id, &status] { status = showRules(*id); });
}
