#include "kvf/rules/Check.h"

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

#include "kvf/launch/Secrets.h"
#include "kvf/rules/Rule.h"

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

/// The first line of the entry that the place lies in.
std::size_t firstLineOf(const Inspection& inspection, const Position& at) {
  for (const Entry& entry : inspection.run().entries) {
    const Position& whole = entry.at;
    if (whole.file == at.file && whole.line <= at.line && at.line <= whole.endLine) {
      return whole.line;
    }
  }
  return at.line;
}

/// True when a comment right above the line allows the rule; for the file as a whole, one of its
/// first comments.
bool isAllowed(const Inspection& inspection, const Position& at, std::string_view rule) {
  if (at.file == Position::commandLine) return false;
  const SourceFile& file = inspection.fileOf(at);
  if (at.line == 0) {
    for (std::size_t line = 1; isComment(file.line(line)); ++line) {
      if (allows(file.line(line), rule)) return true;
    }
    return false;
  }
  for (std::size_t line = firstLineOf(inspection, at) - 1; line > 0 && isComment(file.line(line));
       --line) {
    if (allows(file.line(line), rule)) return true;
  }
  return false;
}

/// What the rules find in one inspection, in their order.
std::vector<Finding> findingsOf(const Inspection& inspection,
                                const std::set<std::string>& disabled) {
  std::vector<Finding> findings;
  for (const Rule* rule : allRules()) {
    if (rule->check == nullptr || disabled.contains(rule->id)) continue;
    Report report(*rule, inspection, findings);
    rule->check(inspection, report);
  }
  return findings;
}

std::vector<Finding> comparisonOf(std::span<const Inspection> inspections,
                                  const std::set<std::string>& disabled) {
  std::vector<Finding> findings;
  for (const Rule* rule : allRules()) {
    if (rule->compare == nullptr || disabled.contains(rule->id)) continue;
    Report report(*rule, inspections.front(), findings);
    rule->compare(inspections, report);
  }
  return findings;
}

}  // namespace

std::vector<Finding> check(std::span<const Inspection> inspections,
                           const std::set<std::string>& disabled) {
  std::vector<Finding> findings;
  const auto take = [&](std::vector<Finding> more) {
    std::move(more.begin(), more.end(), std::back_inserter(findings));
  };
  for (const Inspection& inspection : inspections) {
    take(findingsOf(inspection, disabled));
  }
  if (!inspections.empty()) take(comparisonOf(inspections, disabled));
  std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
    return std::tie(a.inspection, a.at.file, a.at.line) <
           std::tie(b.inspection, b.at.file, b.at.line);
  });

  for (const Inspection& inspection : inspections) {
    const Secrets secrets(inspection);
    for (Finding& finding : findings) {
      if (finding.inspection == &inspection) finding.text = secrets.masked(finding.text);
    }
  }
  std::set<std::tuple<const Rule*, std::string, std::size_t, std::string>> seen;
  std::erase_if(findings, [&](const Finding& finding) {
    return isAllowed(*finding.inspection, finding.at, finding.rule->id) ||
           !seen.emplace(finding.rule, finding.file, finding.line(), finding.text).second;
  });
  return findings;
}

std::vector<Finding> fatalFindings(const Inspection& inspection) {
  std::vector<Finding> findings = findingsOf(inspection, {});
  std::erase_if(findings, [](const Finding& finding) { return !finding.fatal; });
  return findings;
}
