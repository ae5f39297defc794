#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>

#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// Fit for a terminal, in as many lines.
std::string printableLines(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  std::string result;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    result += (start == 0 ? "" : "\n") + printable(text.substr(start, end - start));
    start = end + 1;
  }
  return result;
}

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

/// What a reader needs to try it: the words, the lines and the command, if it is an unusual one.
std::string shownExample(const Example& example) {
  constexpr std::size_t longest = 200;
  std::string text;
  if (!example.note.empty()) text += indented(example.note);
  for (const ExampleFile& file : example.files) {
    const bool isShort = file.times == 1 && file.content.size() < longest;
    const bool isText =
        file.kind == ExampleFile::Kind::text || file.kind == ExampleFile::Kind::unit;
    if (file.path == nullptr || !isText || !isShort) continue;
    if (!file.content.empty())
      text += indented(concat({file.path, ": ", printableLines(file.content)}));
  }
  if (!example.lines.empty() && example.lines.size() < 10 * longest) {
    text += indented(printableLines(example.lines));
  }
  const std::string_view command = example.command;
  if (command != Example().command && command.size() < longest) text += indented(command);
  return text;
}

std::string explained(const Rule& rule) {
  return concat({rule.id, " (", nameOf(rule.severity), "): ", rule.summary, "\n\n",
                 rule.explanation, "\n\nExample:\n", shownExample(rule.example), "Remedy:\n",
                 shownExample(rule.remedy), "Disable it with --disable ", rule.id,
                 ", or above an entry with the comment\n",
                 indented(std::string("# kvf: allow ") + rule.id)});
}

int showRules(const std::string& id) {
  if (id.empty()) return print(listOfRules());
  if (const Rule* rule = findRule(id)) return print(explained(*rule));
  std::vector<std::string_view> ids;
  for (const Rule* known : allRules()) ids.emplace_back(known->id);
  return complain(concat({"there is no rule ", shown(id), didYouMean(nearestName(id, ids))}));
}

}  // namespace

RunSubcommand declareRules(CLI::App& command) {
  const auto id = std::make_shared<std::string>();
  command.add_option("RULE", *id, "The name of a rule");
  return [id](const LauncherArguments& /*arguments*/) { return showRules(*id); };
}
