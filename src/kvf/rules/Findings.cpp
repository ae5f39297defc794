#include "kvf/rules/Findings.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "foundation/PropertyKeys.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view allowMark = "kvf: allow ";

bool isComment(std::string_view line) {
  const std::size_t start = line.find_first_not_of(" \t");
  return start != std::string_view::npos && (line[start] == '#' || line[start] == '!');
}

/// True when the comment allows the rule: names follow the mark, with blanks or commas between.
bool allows(std::string_view line, std::string_view rule) {
  if (!isComment(line)) return false;
  const std::size_t mark = line.find(allowMark);
  if (mark == std::string_view::npos) return false;
  std::string_view names = line.substr(mark + allowMark.size());
  while (!names.empty()) {
    const std::size_t end = std::min(names.find_first_of(", \t"), names.size());
    if (names.substr(0, end) == rule) return true;
    names.remove_prefix(std::min(end + 1, names.size()));
  }
  return false;
}

bool isAllowed(const Inspection& inspection, const Position& at, std::string_view rule) {
  if (at.file == Position::commandLine) return false;
  const SourceFile& file = inspection.fileOf(at);
  if (at.line == 0) {
    for (std::size_t line = 1; isComment(file.line(line)); ++line) {
      if (allows(file.line(line), rule)) return true;
    }
    return false;
  }
  for (std::size_t line = at.line - 1; line > 0 && isComment(file.line(line)); --line) {
    if (allows(file.line(line), rule)) return true;
  }
  return false;
}

struct Placed {
  Position at;
  Finding finding;
};

Finding findingAt(const Inspection& inspection, const Rule& rule, const Position& at,
                  std::string text) {
  if (at.file == Position::commandLine) {
    return {&rule, "command line", at.line, std::move(text)};
  }
  const SourceFile& file = inspection.fileOf(at);
  return {&rule, inspection.nameOf(file), std::max<std::size_t>(at.line, 1), std::move(text)};
}

}  // namespace

std::vector<Ending> endingsOf(const Inspection& inspection) {
  std::vector<Ending> endings;
  for (const Rule* rule : allRules()) {
    if (rule->check == nullptr) continue;
    rule->check(
        inspection, Report([&](Reported found) {
          if (!found.endsLaunch) return;
          endings.push_back({rule, found.at, std::move(found.message), std::move(found.text)});
        }));
  }
  return endings;
}

std::vector<Finding> check(const Inspection& inspection, const std::set<std::string>& disabled) {
  std::vector<Placed> placed;
  for (const Rule* rule : allRules()) {
    if (rule->check == nullptr || disabled.contains(rule->id)) continue;
    rule->check(inspection, Report([&](Reported found) {
                  if (isAllowed(inspection, found.at, rule->id)) return;
                  placed.push_back(
                      {found.at, findingAt(inspection, *rule, found.at, std::move(found.text))});
                }));
  }
  std::stable_sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) {
    return std::tie(a.at.file, a.at.line) < std::tie(b.at.file, b.at.line);
  });
  // A file that is included twice has each of its mistakes once.
  std::set<std::tuple<std::string_view, std::string, std::size_t, std::string>> seen;
  std::vector<Finding> findings;
  for (Placed& one : placed) {
    const Finding& finding = one.finding;
    if (!seen.emplace(finding.rule->id, finding.file, finding.line, finding.text).second) continue;
    findings.push_back(std::move(one.finding));
  }
  return findings;
}

std::vector<Finding> compare(const std::vector<Inspection>& inspections,
                             const std::set<std::string>& disabled) {
  const Rule* rule = findRule("shared-process-id-file");
  std::vector<Finding> findings;
  if (disabled.contains(rule->id)) return findings;
  std::map<std::string, const Inspection*> owners;
  for (const Inspection& inspection : inspections) {
    const auto name = inspection.value(keys::processIdFile);
    if (!name || name->empty()) continue;
    const std::string path =
        std::filesystem::path(inspection.atLauncher(*name)).lexically_normal().string();
    const auto [owner, isNew] = owners.emplace(path, &inspection);
    const Position at = inspection.positionOf(keys::processIdFile);
    if (isNew || isAllowed(inspection, at, rule->id)) continue;
    const Inspection& other = *owner->second;
    findings.push_back(
        findingAt(inspection, *rule, at,
                  concat({shown(path), " is the process-ID file of ",
                          other.nameOf(other.positionOf(keys::processIdFile)),
                          " too: the instances overwrite each other's; give each its own"})));
  }
  return findings;
}
