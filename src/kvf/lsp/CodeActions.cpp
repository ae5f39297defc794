#include "kvf/lsp/CodeActions.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <tuple>

namespace {

constexpr std::string_view quickFixKind = "quickfix";

auto asTuple(const TextPlace& place) {
  return std::tuple(place.line, place.character);
}

bool isAfter(const TextPlace& a, const TextPlace& b) {
  return asTuple(a) > asTuple(b);
}

bool touches(const TextRange& a, const TextRange& b) {
  return !isAfter(a.start, b.end) && !isAfter(b.start, a.end);
}

/// The cursor need not be on the very blank that is meant.
bool sharesLine(const TextRange& a, const TextRange& b) {
  return a.start.line <= b.end.line && b.start.line <= a.end.line;
}

/// Kinds have parts between dots; one that is asked for stands for all that begin with it.
bool isWanted(const Json& only, std::string_view kind) {
  if (!only.is_array()) return true;
  return std::any_of(only.begin(), only.end(), [&](const Json& wanted) {
    if (!wanted.is_string()) return false;
    const std::string& prefix = wanted.get_ref<const std::string&>();
    return prefix.empty() || (kind.starts_with(prefix) &&
                              (kind.size() == prefix.size() || kind[prefix.size()] == '.'));
  });
}

const Json& editsOf(const Json& diagnostic) {
  return memberOf(diagnostic, {"data", "edits"});
}

Json workspaceEdit(const Json& edits, const Workspace& workspace, bool versioned) {
  Json changes = Json::object();
  for (const Json& edit : edits) {
    const std::string uri = edit.at("uri");
    changes[uri].push_back({{"range", edit.at("range")}, {"newText", edit.at("newText")}});
  }
  if (!versioned) return {{"changes", std::move(changes)}};
  Json documents = Json::array();
  for (const auto& [uri, list] : changes.items()) {
    const auto open = workspace.documents.find(uri);
    const Json version = open == workspace.documents.end() ? Json() : Json(open->second.version);
    documents.push_back({{"textDocument", {{"uri", uri}, {"version", version}}}, {"edits", list}});
  }
  return {{"documentChanges", std::move(documents)}};
}

/// The edits of all fixes that are in this document only and do not touch each other.
Json editsOfAll(const Json& diagnostics, const std::string& uri) {
  Json taken = Json::array();
  for (const Json& diagnostic : diagnostics) {
    const Json& edits = editsOf(diagnostic);
    const bool fits = std::all_of(edits.begin(), edits.end(), [&](const Json& edit) {
      const TextRange range = rangeIn(edit.at("range"));
      return edit.at("uri") == uri &&
             std::none_of(taken.begin(), taken.end(), [&](const Json& other) {
               return touches(range, rangeIn(other.at("range")));
             });
    });
    if (fits && !edits.is_null()) taken.insert(taken.end(), edits.begin(), edits.end());
  }
  return taken;
}

}  // namespace

Json codeActionsFor(const Json& params, const Json& diagnostics, const Workspace& workspace,
                    bool versioned) {
  const TextRange range = rangeIn(params.at("range"));
  const std::string uri = params.at("textDocument").at("uri");
  const Json& only = memberOf(params, {"context", "only"});
  Json actions = Json::array();
  std::size_t fixes = 0;
  for (const Json& diagnostic : diagnostics) {
    const Json& edits = editsOf(diagnostic);
    if (edits.is_null()) continue;
    ++fixes;
    const bool isThere = sharesLine(range, rangeIn(diagnostic.at("range")));
    if (!isThere || !isWanted(only, quickFixKind)) continue;
    actions.push_back({{"title", diagnostic.at("data").at("title")},
                       {"kind", quickFixKind},
                       {"diagnostics", {diagnostic}},
                       {"isPreferred", true},
                       {"edit", workspaceEdit(edits, workspace, versioned)}});
  }
  // Without a request for it, it is only offered beyond a single fix.
  const std::size_t enough = only.is_array() ? 1 : 2;
  if (fixes >= enough && isWanted(only, fixAllKind)) {
    actions.push_back(
        {{"title", "Fix everything that leaves nothing to decide"},
         {"kind", fixAllKind},
         {"edit", workspaceEdit(editsOfAll(diagnostics, uri), workspace, versioned)}});
  }
  return actions;
}
