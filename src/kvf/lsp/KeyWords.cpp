#include "kvf/lsp/KeyWords.h"

#include <algorithm>

#include "kvf/text/Text.h"

namespace {

constexpr std::size_t maxShown = 400;

}  // namespace

std::string Words::code(std::string_view text) const {
  std::string shown = printable(text.substr(0, maxShown));
  if (text.size() > maxShown) shown += "...";
  if (!markdown || shown.empty()) return concat({"\"", shown, "\""});
  // More backticks around it than there are in it.
  std::size_t most = 0;
  for (std::size_t at = 0; (at = shown.find('`', at)) != std::string::npos;) {
    const std::size_t end = std::min(shown.find_first_not_of('`', at), shown.size());
    most = std::max(most, end - at);
    at = end;
  }
  const std::string ticks(most + 1, '`');
  return most == 0 ? concat({ticks, shown, ticks}) : concat({ticks, " ", shown, " ", ticks});
}

std::string Words::strong(std::string_view text) const {
  return markdown ? concat({"**", text, "**"}) : std::string(text);
}

Json Words::asJson(const std::string& text) const {
  return {{"kind", markdown ? "markdown" : "plaintext"}, {"value", text}};
}

bool prefersMarkdown(const Json& client, std::initializer_list<const char*> path) {
  const Json& formats = memberOf(memberOf(client, {"textDocument"}), path);
  return std::find(formats.begin(), formats.end(), "markdown") != formats.end();
}

std::string keyWords(std::string_view key, const Words& words) {
  const KeyInfo* info = findKey(key);
  const std::string name = info == nullptr ? std::string(key) : info->name;
  std::string text = words.strong(words.code(name));
  if (info == nullptr) return text + "\n\n";
  if (info->rest != nullptr) text += concat({" ", info->rest});
  text += "\n\n";
  const auto add = [&](std::string_view label, std::string_view content) {
    if (!content.empty()) text += concat({words.strong(label), ": ", content, "\n\n"});
  };
  add("Becomes", info->becomes);
  add("Type", info->type);
  add("Default", info->fallback);
  add("Mind", info->traps);
  return text;
}
