#include "kvf/report/Place.h"

#include <algorithm>

#include "kvf/text/Text.h"

namespace {

std::size_t charactersBefore(const SourceFile& file, std::size_t line, std::size_t column) {
  const std::string_view text = file.text;
  return charactersIn(text.substr(file.lineStarts[line - 1], column - 1));
}

}  // namespace

Place placeOf(const Inspection& inspection, const Position& at) {
  if (at.file == Position::commandLine) return {.line = at.line};
  if (at.column == 0) return {.line = std::max<std::size_t>(at.line, 1)};
  const SourceFile& file = inspection.fileOf(at);
  return {.line = at.line,
          .column = charactersBefore(file, at.line, at.column) + 1,
          .endLine = at.endLine,
          .endColumn = charactersBefore(file, at.endLine, at.endColumn) + 1};
}
