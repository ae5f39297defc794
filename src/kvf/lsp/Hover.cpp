#include <algorithm>

#include "kvf/explain/Explanation.h"
#include "kvf/launch/Secrets.h"
#include "kvf/lsp/Cursor.h"
#include "kvf/lsp/Features.h"
#include "kvf/lsp/KeyWords.h"
#include "kvf/lsp/LaunchView.h"
#include "kvf/text/Text.h"

namespace {

std::string wordsOf(const Source& source, const Words& words) {
  return concat({words.code(source.value), " (", printable(source.place), ")"});
}

/// What the key is here, and where from.
std::string valueWords(const Inspection& inspection, const std::string& key, const Words& words) {
  std::string text;
  for (const ExplainedEntry& entry : explainKey(inspection, key))
    text += concat({"- ", entry.used ? "" : "not ", wordsOf(entry.source, words), "\n"});
  std::string users;
  for (const std::string& place : usersOf(inspection, key))
    users += (users.empty() ? "- used by " : ", ") + printable(place);
  return users.empty() ? text : text + users + "\n";
}

std::string referenceWords(const Inspection& inspection, const Entry& entry,
                           const Reference& reference, const Words& words) {
  const std::string name = words.code(concat({"%", reference.name, "%"}));
  if (reference.source == VariableSource::nothing)
    return concat({name, " is nowhere defined and disappears"});
  return concat({name, " is ", words.code(reference.replacement), ", from ",
                 printable(placeOf(inspection, entry, reference))});
}

}  // namespace

Json hoverAt(const Question& question) {
  LaunchView view(question.workspace, question.launch);
  for (Inspection& inspection : view.inspections()) Secrets(inspection).mask(inspection);
  const std::optional<Spot> spot = spotOf(question, view);
  if (!spot) return nullptr;
  const Words words{.markdown = prefersMarkdown(question.client, {"hover", "contentFormat"})};
  const std::string& key = spot->entry->key;
  if (const Reference* reference = referenceAt(spot->cursor, *spot->entry))
    return {{"contents",
             words.asJson(referenceWords(*spot->inspection, *spot->entry, *reference, words))}};
  const bool isKey = spot->cursor.where == Cursor::Where::key;
  return {{"contents", words.asJson((isKey ? keyWords(key, words) : "") +
                                    valueWords(*spot->inspection, key, words))}};
}
