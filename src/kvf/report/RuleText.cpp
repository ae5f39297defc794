#include "kvf/report/RuleText.h"

#include <algorithm>
#include <string_view>

#include "kvf/text/Text.h"

namespace {

/// Fit for a terminal, with the same lines.
std::string printableLines(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  std::string result;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    result += printable(text.substr(start, end - start)) + "\n";
    start = end + 1;
  }
  return result;
}

}  // namespace

std::string exampleText(const Example& example) {
  constexpr std::size_t longest = 200;
  std::string text;
  if (!example.note.empty()) text += concat({example.note, "\n"});
  for (const ExampleFile& file : example.files) {
    const bool isShort = file.times == 1 && file.content.size() < longest;
    const bool isText =
        file.kind == ExampleFile::Kind::text || file.kind == ExampleFile::Kind::unit;
    if (file.path == nullptr || !isText || !isShort) continue;
    if (!file.content.empty()) text += concat({file.path, ": ", printableLines(file.content)});
  }
  if (!example.lines.empty() && example.lines.size() < 10 * longest)
    text += printableLines(example.lines);
  const std::string_view command = example.command;
  if (command != Example().command && command.size() < longest) text += concat({command, "\n"});
  return text;
}
