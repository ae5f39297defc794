#include "kvf/rules/Check.h"

#include <algorithm>
#include <map>
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

/// The first lines of the entries that go on over several.
class EntryStarts {
 public:
  explicit EntryStarts(const Inspection& inspection) {
    for (const Entry& entry : inspection.run().entries) {
      for (std::size_t line = entry.at.line + 1; line <= entry.at.endLine; ++line) {
        starts_[{entry.at.file, line}] = entry.at.line;
      }
    }
  }

  /// The first line of the entry at that place.
  [[nodiscard]] std::size_t of(const Position& at) const {
    const auto start = starts_.find({at.file, at.line});
    return start == starts_.end() ? at.line : start->second;
  }

 private:
  std::map<std::pair<int, std::size_t>, std::size_t> starts_;
};

/// True when a comment right above the line allows the rule; for the file as a whole, one of its
/// first comments.
bool isAllowed(const Inspection& inspection, const EntryStarts& starts, const Position& at,
               std::string_view rule) {
  if (at.file == Position::commandLine) return false;
  const SourceFile& file = inspection.fileOf(at);
  if (at.line == 0) {
    for (std::size_t line = 1; isComment(file.line(line)); ++line) {
      if (allows(file.line(line), rule)) return true;
    }
    return false;
  }
  for (std::size_t line = starts.of(at) - 1; line > 0 && isComment(file.line(line)); --line) {
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

  std::vector<Finding> reported;
  std::set<std::tuple<const Rule*, std::string, std::size_t, std::string>> seen;
  for (auto next = findings.begin(); next != findings.end();) {
    const Inspection& inspection = *next->inspection;
    const Secrets secrets(inspection);
    const EntryStarts starts(inspection);
    std::map<std::tuple<const Rule*, int, std::size_t>, bool> allowed;
    for (; next != findings.end() && next->inspection == &inspection; ++next) {
      const auto [known, isFirst] =
          allowed.try_emplace({next->rule, next->at.file, next->at.line}, false);
      if (isFirst) known->second = isAllowed(inspection, starts, next->at, next->rule->id);
      if (known->second) continue;
      next->text = secrets.masked(next->text);
      const bool isNew = seen.emplace(next->rule, next->file, next->line(), next->text).second;
      if (isNew) reported.push_back(std::move(*next));
    }
  }
  return reported;
}

std::vector<Finding> fatalFindings(const Inspection& inspection) {
  std::vector<Finding> findings = findingsOf(inspection, {});
  std::erase_if(findings, [](const Finding& finding) { return !finding.fatal; });
  return findings;
}
