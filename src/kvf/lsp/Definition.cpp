#include <filesystem>

#include "kvf/explain/Explanation.h"
#include "kvf/lsp/Cursor.h"
#include "kvf/lsp/Features.h"
#include "kvf/lsp/LaunchView.h"
#include "kvf/lsp/Uri.h"

namespace {

Json locationOf(const ClientPlace& place) {
  return {{"uri", place.uri}, {"range", asJson(place.range)}};
}

/// The entry that a reader wants to see; null: there is none.
const Entry* targetOf(const Inspection& inspection, const Cursor& cursor, const Entry& entry) {
  if (const Reference* reference = referenceAt(cursor, entry))
    return definitionOf(inspection, entry, *reference);
  if (cursor.where == Cursor::Where::key && !entry.isInclude) return inspection.entryOf(entry.key);
  return nullptr;
}

/// The file that an entry includes.
Json includedBy(const Inspection& inspection, LaunchView& view, const Entry& entry) {
  const std::vector<SourceFile>& files = inspection.run().files;
  for (std::size_t index = 0; index < files.size(); ++index)
    if (files[index].includedAt == entry.at)
      return locationOf(view.placeOf(inspection, {.file = static_cast<int>(index), .line = 0}));
  return nullptr;
}

}  // namespace

Json definitionAt(const Question& question) {
  LaunchView view(question.workspace, question.launch);
  const std::optional<Spot> spot = spotOf(question, view);
  if (!spot) return nullptr;
  if (const Entry* target = targetOf(*spot->inspection, spot->cursor, *spot->entry))
    return locationOf(view.placeOf(*spot->inspection, target->at));
  const bool isInclude = spot->entry->isInclude && !spot->cursor.reference;
  return isInclude ? includedBy(*spot->inspection, view, *spot->entry) : nullptr;
}
