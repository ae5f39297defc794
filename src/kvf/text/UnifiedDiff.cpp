#include "kvf/text/UnifiedDiff.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kvf/text/Text.h"

namespace {

using Lines = std::vector<std::string_view>;

/// With their line ends.
Lines linesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return lines;
}

/// Lines of one text that are replaced by others.
struct Change {
  std::size_t before, beforeEnd;
  std::size_t after, afterEnd;
};

/// The nearest equal lines from there on, as a change up to them.
Change changeAt(const Lines& before, const Lines& after, std::size_t i, std::size_t j) {
  const std::size_t left = before.size() - i;
  const std::size_t right = after.size() - j;
  // What moves far is shown as removed and added.
  constexpr std::size_t farthest = 2000;
  for (std::size_t distance = 1; distance <= std::min(left + right, farthest); ++distance) {
    const std::size_t first = distance - std::min(distance, right);
    for (std::size_t ahead = first; ahead <= std::min(distance, left); ++ahead) {
      const std::size_t x = i + ahead;
      const std::size_t y = j + distance - ahead;
      const bool isEqual = x < before.size() && y < after.size() && before[x] == after[y];
      if (isEqual) return {i, x, j, y};
    }
  }
  return {i, before.size(), j, after.size()};
}

std::vector<Change> changesBetween(const Lines& before, const Lines& after) {
  std::vector<Change> changes;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < before.size() || j < after.size()) {
    if (i < before.size() && j < after.size() && before[i] == after[j]) {
      ++i;
      ++j;
      continue;
    }
    changes.push_back(changeAt(before, after, i, j));
    i = changes.back().beforeEnd;
    j = changes.back().afterEnd;
  }
  return changes;
}

void addLine(std::string& diff, char mark, std::string_view line) {
  diff += mark;
  diff += line;
  if (!line.ends_with('\n')) diff += "\n\\ No newline at end of file\n";
}

/// "12,3"; of no lines the number of the one before.
std::string range(std::size_t start, std::size_t end) {
  const std::size_t count = end - start;
  const std::string first = std::to_string(count == 0 ? start : start + 1);
  return count == 1 ? first : concat({first, ",", std::to_string(count)});
}

}  // namespace

std::string unifiedDiff(std::string_view name, std::string_view before, std::string_view after) {
  constexpr std::size_t context = 3;
  const Lines old = linesOf(before);
  const Lines fresh = linesOf(after);
  const std::vector<Change> changes = changesBetween(old, fresh);
  if (changes.empty()) return {};
  // A name with a blank ends at a tab.
  const std::string shownName =
      concat({printable(name), name.find(' ') == std::string_view::npos ? "" : "\t", "\n"});
  std::string diff = concat({"--- ", shownName, "+++ ", shownName});
  for (std::size_t first = 0; first < changes.size();) {
    std::size_t last = first;
    while (last + 1 < changes.size() &&
           changes[last + 1].before - changes[last].beforeEnd <= 2 * context)
      ++last;
    const std::size_t lead = std::min(context, changes[first].before);
    const std::size_t tail = std::min(context, old.size() - changes[last].beforeEnd);
    diff +=
        concat({"@@ -", range(changes[first].before - lead, changes[last].beforeEnd + tail), " +",
                range(changes[first].after - lead, changes[last].afterEnd + tail), " @@\n"});
    std::size_t line = changes[first].before - lead;
    for (std::size_t i = first; i <= last; ++i) {
      for (; line < changes[i].before; ++line) addLine(diff, ' ', old[line]);
      for (; line < changes[i].beforeEnd; ++line) addLine(diff, '-', old[line]);
      for (std::size_t added = changes[i].after; added < changes[i].afterEnd; ++added)
        addLine(diff, '+', fresh[added]);
    }
    for (const std::size_t end = line + tail; line < end; ++line) addLine(diff, ' ', old[line]);
    first = last + 1;
  }
  return diff;
}
