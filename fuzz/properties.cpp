// A properties file's text: the entries that are read from it.

#include "Fuzzing.h"
#include "config/PropertiesScanner.h"

namespace {

/// A character, and whether a backslash has taken its meaning away.
struct Character {
  char c;
  bool escaped;

  [[nodiscard]] bool isOneOf(std::string_view set) const {
    return !escaped && set.find(c) != std::string_view::npos;
  }
};

using Line = std::vector<Character>;

char unescaped(char c) {
  const std::string_view letters = "trn";
  const std::size_t found = letters.find(c);
  return found == std::string_view::npos ? c : "\t\r\n"[found];
}

/// The lines with escapes resolved. Only the last has no line end.
std::vector<Line> linesOf(const std::string& text) {
  std::vector<Line> lines(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' || text[i] == '\n') {
      lines.emplace_back();
    } else if (text[i] != '\\') {
      lines.back().push_back({text[i], false});
    } else if (++i < text.size() && text[i] != '\r' && text[i] != '\n') {
      lines.back().push_back({unescaped(text[i]), true});
    }
  }
  return lines;
}

std::string textBetween(const Line& line, std::size_t start, std::size_t end) {
  std::string text;
  for (std::size_t i = start; i < end; ++i) text += line[i].c;
  return text;
}

/// Adds key and value if the line is an entry.
void readLine(const Line& line, Texts& entries) {
  std::size_t start = 0;
  while (start < line.size() && line[start].isOneOf(" \t")) ++start;
  if (start == line.size() || line[start].isOneOf("#!")) return;
  // A key begins with its first unescaped character, whichever that is.
  std::size_t end = start;
  while (end < line.size() && line[end].escaped) ++end;
  do {
    ++end;
  } while (end < line.size() && !line[end].isOneOf(" \t=:"));
  if (end >= line.size()) return;
  std::size_t value = end + 1;
  while (value < line.size() && line[value].isOneOf(" \t")) ++value;
  if (value < line.size() && line[value].c == '=') ++value;
  entries.push_back(textBetween(line, start, end));
  entries.push_back(textBetween(line, value, line.size()));
}

}  // namespace

void fuzz(std::string_view input) {
  Texts model;
  const std::vector<Line> lines = linesOf(upToNul(input));
  for (const Line& line : lines) {
    const std::size_t before = model.size();
    readLine(line, model);
    if (model.size() > before) model.push_back(&line == &lines.back() ? "no line end" : "line end");
  }
  Texts code;
  PropertiesScanner scanner(input);
  for (PropertiesEntry entry; scanner.next(entry);) {
    code.push_back(textOf(entry.key));
    code.push_back(textOf(entry.value));
    code.push_back(entry.endedByLineEnd ? "line end" : "no line end");
  }
  requireSame("entries", model, code);
}
