#ifndef VELOX_KVF_LSP_KEYWORDS_H
#define VELOX_KVF_LSP_KEYWORDS_H

#include <initializer_list>
#include <string>
#include <string_view>

#include "kvf/lsp/Protocol.h"
#include "kvf/rules/Keys.h"

/// How texts reach the reader: as Markdown, or as they are.
struct Words {
  bool markdown = true;

  /// A value or name, cut off when it is long.
  [[nodiscard]] std::string code(std::string_view text) const;
  [[nodiscard]] std::string strong(std::string_view text) const;
  /// MarkupContent.
  [[nodiscard]] Json asJson(const std::string& text) const;
};

/// True when the client's list of formats at this path below textDocument has Markdown.
bool prefersMarkdown(const Json& client, std::initializer_list<const char*> path);

/// What a key means; of one that the launcher does not know, its name alone.
std::string keyWords(std::string_view key, const Words& words);

#endif
