#include "config/PropertiesScanner.h"
#include "foundation/PropertyKeys.h"
#include "kvf/launch/Secrets.h"
#include "kvf/lsp/Features.h"
#include "kvf/text/Text.h"

namespace {

enum class SymbolKind : int { file = 1, property = 7, variable = 13 };

SymbolKind kindOf(std::string_view key) {
  if (key.starts_with(keys::includePrefix)) return SymbolKind::file;
  return key.starts_with(keys::environmentPrefix) ? SymbolKind::variable : SymbolKind::property;
}

}  // namespace

Json symbolsOf(const Question& question) {
  const TextDocument& document = question.document.document;
  const bool nests = isTrue(memberOf(
      question.client, {"textDocument", "documentSymbol", "hierarchicalDocumentSymbolSupport"}));
  Json symbols = Json::array();
  PropertiesScanner scanner(document.text());
  for (PropertiesEntry entry; scanner.next(entry);) {
    const std::string key = toString(entry.key);
    // A symbol has a name.
    Json symbol = {{"name", key.empty() ? "\"\"" : printable(key)}, {"kind", kindOf(key)}};
    const Json range = asJson(document.rangeOf(entry.keyAt, entry.endAt));
    if (nests) {
      symbol["detail"] = isSecretName(key) ? "***" : shown(toString(entry.value));
      symbol["range"] = range;
      symbol["selectionRange"] = asJson(document.rangeOf(entry.keyAt, entry.valueAt - 1));
    } else {
      symbol["location"] = {{"uri", question.document.uri}, {"range", range}};
    }
    symbols.push_back(std::move(symbol));
  }
  return symbols;
}
