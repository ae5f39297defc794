#include <algorithm>
#include <cctype>
#include <cstddef>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "kvf/rules/EntryText.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// Backslashes in values, and what becomes of them.

namespace {

/// Lines by their files.
using Lines = std::set<std::pair<int, std::size_t>>;

/// Where an escape is all of a value, as in line.separator=\n, and so is meant.
Lines meantEscapes(const Inspection& inspection) {
  Lines lines;
  for (const Entry& entry : inspection.run().entries) {
    const bool isMeant =
        !entry.written.empty() && entry.written.find_first_not_of("\t\r\n") == std::string::npos;
    for (std::size_t line = entry.at.line; isMeant && line <= entry.at.endLine; ++line)
      lines.emplace(entry.at.file, line);
  }
  return lines;
}

void controlEscape(const Inspection& inspection, Report& report) {
  const Lines meant = meantEscapes(inspection);
  for (const Position& at : inspection.run().controlEscapes) {
    if (meant.contains({at.file, at.line})) continue;
    report(at,
           "\\t, \\r or \\n becomes a tab or a line end here: write \\\\ for a backslash, or / "
           "between folders");
  }
}

bool holdsOne(const Entry& entry, const Lines& lines) {
  const auto first = lines.lower_bound({entry.at.file, entry.at.line});
  return first != lines.end() && *first <= std::pair(entry.at.file, entry.at.endLine);
}

bool isWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

/// The dropped backslashes that make a difference.
std::vector<std::size_t> lostBackslashes(std::string_view raw) {
  // Another rule reports t, r and n.
  constexpr std::string_view kept = "trn";
  constexpr std::string_view ofExpressions = ".()[]{}*+?|^";
  std::vector<std::size_t> lost;
  for (std::size_t i = 0; i + 1 < raw.size(); ++i) {
    if (raw[i] != '\\') continue;
    const char next = raw[i + 1];
    const bool isLost = isWordCharacter(next) ? kept.find(next) == std::string_view::npos
                                              : ofExpressions.find(next) != std::string_view::npos;
    if (isLost) lost.push_back(i);
    ++i;
  }
  return lost;
}

/// Doubles the backslashes, if one of them is before a letter that never needs one.
std::vector<Edit> doubled(const EntryText& text, const std::vector<std::size_t>& backslashes) {
  const std::string_view raw = text.raw();
  const auto isBefore = [&](std::size_t at) { return isWordCharacter(raw[at + 1]); };
  const auto isCode = [&](std::size_t at) { return raw[at + 1] == 'u'; };
  if (std::none_of(backslashes.begin(), backslashes.end(), isBefore) ||
      std::any_of(backslashes.begin(), backslashes.end(), isCode))
    return {};
  std::vector<Edit> edits;
  edits.reserve(backslashes.size());
  for (const std::size_t at : backslashes) edits.push_back(text.insert(at, "\\"));
  return edits;
}

void lostBackslash(const Inspection& inspection, Report& report) {
  Lines escapes;
  for (const Position& at : inspection.run().controlEscapes) escapes.emplace(at.file, at.line);
  for (const Entry& entry : inspection.run().entries) {
    const bool isTold = holdsOne(entry, escapes);
    const EntryText text(inspection, entry);
    const std::vector<std::size_t> lost = lostBackslashes(text.raw());
    if (isTold || lost.empty()) continue;
    const Position at = text.replace(lost.front(), lost.front() + 2, "").at;
    const char next = text.raw()[lost.front() + 1];
    const std::string_view shownChar(&next, 1);
    if (next == 'u') {
      report(at,
             "\\u does not begin a character code here, and the backslash is dropped: write the "
             "character itself, in UTF-8");
      continue;
    }
    Finding& finding = report(
        at, concat({"a backslash is dropped: \\", shownChar, " becomes ", shownChar, ", and the ",
                    "value is ", shown(entry.written), "; write \\\\ for a backslash"}));
    finding.harmless = !isWordCharacter(next);
    finding.fix = doubled(text, lost);
  }
}

constexpr Rule rules[] = {
    {.id = "control-escape",
     .severity = Severity::warning,
     .summary = "an escape that makes a tab or a line end",
     .explanation = "A backslash keeps the next character as it is, but t, r and n become a tab, a "
                    "carriage return and a line feed. A value that is nothing else is not "
                    "reported.",
     .example = {.lines = R"(java.property.data=C:\temp\new)"},
     .remedy = {.lines = R"(java.property.data=C:\\temp\\new)"},
     .check = controlEscape},
    {.id = "lost-backslash",
     .severity = Severity::error,
     .summary = "a backslash that vanishes",
     .explanation = "A backslash keeps the next character as it is and is itself dropped, so that "
                    "one in a path or a regular expression has to be written twice.",
     .example = {.lines = R"(java.property.pattern=\d+)"},
     .remedy = {.lines = R"(java.property.pattern=\\d+)"},
     .check = lostBackslash},
};

}  // namespace

std::span<const Rule> escapeRules() {
  return rules;
}
