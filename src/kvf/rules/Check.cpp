#include "kvf/rules/Check.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "kvf/launch/Secrets.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view allowMark = "kvf: allow ";

bool isComment(std::string_view line) {
  const std::size_t start = line.find_first_not_of(" \t");
  return start != std::string_view::npos && (line[start] == '#' || line[start] == '!');
}

/// Adds the names of rules that the comment allows: they follow the mark, with blanks or commas
/// between.
void addAllowed(std::string_view line, std::set<std::string_view>& allowed) {
  const std::size_t mark = line.find(allowMark);
  if (mark == std::string_view::npos) return;
  for (const std::string_view name : piecesOf(line.substr(mark + allowMark.size()), ", \t"))
    allowed.insert(name);
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

/// The rules that comments right above an entry or line allow there, and the first comments of a
/// file in the file as a whole.
class AllowedRules {
 public:
  explicit AllowedRules(const Inspection& inspection)
      : inspection_(inspection), starts_(inspection) {}

  [[nodiscard]] bool contain(std::string_view rule, const Position& at) {
    if (at.file == Position::commandLine) return false;
    const std::size_t start = at.line == 0 ? 0 : starts_.of(at);
    // Findings come in the order of lines, and a long comment is not read again for each.
    if (!latest_ || *latest_ != std::pair(at.file, start)) {
      latest_ = {at.file, start};
      allowed_ = allowedAt(inspection_.fileOf(at), start);
    }
    return allowed_.contains(rule);
  }

 private:
  static std::set<std::string_view> allowedAt(const SourceFile& file, std::size_t start) {
    std::set<std::string_view> allowed;
    if (start == 0) {
      for (std::size_t line = 1; isComment(file.line(line)); ++line)
        addAllowed(file.line(line), allowed);
    }
    for (std::size_t line = start; line > 1 && isComment(file.line(line - 1)); --line)
      addAllowed(file.line(line - 1), allowed);
    return allowed;
  }

  const Inspection& inspection_;
  EntryStarts starts_;
  std::optional<std::pair<int, std::size_t>> latest_;
  std::set<std::string_view> allowed_;
};

/// What was reported already: launches read the same files, and rules come twice to a line.
class Told {
 public:
  /// REQUIRES: the finding stays where it is.
  [[nodiscard]] bool isNew(const Finding& finding) {
    if (!latest_ || *latest_ != std::pair(finding.inspection, finding.at.file)) {
      latest_ = {finding.inspection, finding.at.file};
      file_ = &*files_.insert(finding.fileName()).first;
    }
    return told_.insert({file_, &finding}).second;
  }

 private:
  struct Place {
    const std::string* file;
    const Finding* finding;

    bool operator==(const Place& other) const {
      return file == other.file && finding->rule == other.finding->rule &&
             finding->line() == other.finding->line() && finding->text == other.finding->text;
    }
  };
  struct Hash {
    std::size_t operator()(const Place& place) const {
      return std::hash<std::string>()(place.finding->text) ^ place.finding->line();
    }
  };

  std::optional<std::pair<const Inspection*, int>> latest_;
  const std::string* file_ = nullptr;
  std::set<std::string> files_;
  std::unordered_set<Place, Hash> told_;
};

/// The findings by files and lines.
std::vector<Finding*> sorted(std::vector<Finding>& findings) {
  std::vector<Finding*> order;
  order.reserve(findings.size());
  for (Finding& finding : findings) order.push_back(&finding);
  std::stable_sort(order.begin(), order.end(), [](const Finding* a, const Finding* b) {
    return std::tie(a->inspection, a->at.file, a->at.line) <
           std::tie(b->inspection, b->at.file, b->at.line);
  });
  return order;
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
  std::vector<Finding> reported;
  // What was told points to it.
  reported.reserve(findings.size());
  Told told;
  const std::vector<Finding*> order = sorted(findings);
  for (auto next = order.begin(); next != order.end();) {
    const Inspection& inspection = *(*next)->inspection;
    const Secrets secrets(inspection);
    AllowedRules allowed(inspection);
    for (; next != order.end() && (*next)->inspection == &inspection; ++next) {
      Finding& finding = **next;
      if (allowed.contain(finding.rule->id, finding.at)) continue;
      finding.text = secrets.masked(finding.text);
      reported.push_back(std::move(finding));
      if (!told.isNew(reported.back())) reported.pop_back();
    }
  }
  return reported;
}

std::vector<Finding> fatalFindings(const Inspection& inspection) {
  std::vector<Finding> findings = findingsOf(inspection, {});
  std::erase_if(findings, [](const Finding& finding) { return !finding.fatal; });
  return findings;
}
