#include "kvf/lsp/Cursor.h"

#include "config/PropertiesScanner.h"
#include "kvf/text/Text.h"

namespace {

/// Ends a key, and so shows whether the cursor is in one: it makes an entry where there was none.
constexpr std::string_view probe = "k=";

void findReference(Cursor& cursor) {
  const std::string_view text = cursor.written;
  std::optional<std::size_t> open;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text.substr(at, 2) == "\\%") {
      ++at;
    } else if (text[at] == '%') {
      if (open) ++cursor.references;
      open = open ? std::nullopt : std::optional(at + 1);
    }
  }
  if (open) cursor.reference = text.substr(*open);
}

/// The entry of a file that a byte of it belongs to, or null.
const Entry* entryAt(const Inspection& inspection, int file, std::size_t offset) {
  if (file < 0) return nullptr;
  const SourceFile& source = inspection.run().files[static_cast<std::size_t>(file)];
  for (const Entry& entry : inspection.run().entries) {
    if (entry.at.file != file || entry.rawEnd < offset) continue;
    if (source.lineStarts[entry.at.line - 1] + entry.at.column - 1 <= offset) return &entry;
  }
  return nullptr;
}

}  // namespace

Cursor cursorAt(std::string_view text, std::size_t offset) {
  const std::string before = concat({text.substr(0, offset), probe});
  PropertiesScanner scanner(before);
  PropertiesEntry entry;
  Cursor cursor;
  while (scanner.next(entry)) {
    if (entry.endAt != before.size() || entry.endedByLineEnd) continue;
    const bool inKey = entry.valueAt == before.size();
    cursor.where = inKey ? Cursor::Where::key : Cursor::Where::value;
    cursor.keyAt = entry.keyAt;
    cursor.key = toString(entry.key);
    cursor.written = toString(entry.value);
    std::string& last = inKey ? cursor.key : cursor.written;
    last.resize(last.size() - (inKey ? 1 : probe.size()));
    findReference(cursor);
  }
  return cursor;
}

std::optional<Spot> spotOf(const Question& question, LaunchView& view) {
  const TextDocument& document = question.document.document;
  const std::string& text = document.text();
  std::size_t offset = document.offsetOf(question.place);
  Cursor cursor = cursorAt(text, offset);
  if (!cursor.reference && offset < text.size() && text[offset] == '%')
    cursor = cursorAt(text, ++offset);
  if (cursor.where == Cursor::Where::nothing) return std::nullopt;
  for (const Inspection& inspection : view.inspections()) {
    const int file = LaunchView::indexOf(inspection, question.document);
    if (const Entry* entry = entryAt(inspection, file, offset + view.hiddenBytes(inspection, file)))
      return Spot{&inspection, entry, cursor};
  }
  return std::nullopt;
}

const Reference* referenceAt(const Cursor& cursor, const Entry& entry) {
  if (!cursor.reference || cursor.references >= entry.references.size()) return nullptr;
  const Reference& reference = entry.references[cursor.references];
  return reference.name.starts_with(*cursor.reference) ? &reference : nullptr;
}
