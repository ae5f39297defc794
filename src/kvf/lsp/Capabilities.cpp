#include "kvf/lsp/Capabilities.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "kvf/lsp/CodeActions.h"

namespace {

enum class SyncKind : int { none, full, incremental };

constexpr std::string_view lineFeedClients[] = {"Neovim", "Vim",   "vim-lsp",
                                                "Eglot",  "emacs", "helix"};

/// In the order of preference; the last is what every client knows.
constexpr Encoding encodings[] = {{"utf-8", TextUnits::Character::byte},
                                  {"utf-32", TextUnits::Character::codePoint},
                                  {"utf-16", TextUnits::Character::utf16}};

}  // namespace

const Encoding& encodingFor(const Json& capabilities) {
  const Json& offered = memberOf(capabilities, {"general", "positionEncodings"});
  for (const Encoding& encoding : encodings)
    if (std::find(offered.begin(), offered.end(), encoding.name) != offered.end()) return encoding;
  return std::end(encodings)[-1];
}

bool endsLinesByLineFeeds(const Json& parameters) {
  const Json& client = memberOf(parameters, {"clientInfo", "name"});
  const std::string name = client.is_string() ? client.get<std::string>() : "";
  return std::find(std::begin(lineFeedClients), std::end(lineFeedClients), name) !=
         std::end(lineFeedClients);
}

Json serverCapabilities(const Encoding& encoding) {
  return {
      {"positionEncoding", encoding.name},
      {"textDocumentSync",
       {{"openClose", true}, {"change", SyncKind::incremental}, {"save", true}}},
      {"hoverProvider", true},
      {"completionProvider", {{"triggerCharacters", {"%", "/", "."}}}},
      {"definitionProvider", true},
      {"documentSymbolProvider", true},
      {"codeActionProvider", {{"codeActionKinds", {"quickfix", fixAllKind}}}},
      {"workspace", {{"workspaceFolders", {{"supported", true}, {"changeNotifications", true}}}}}};
}
