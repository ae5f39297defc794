#include "kvf/report/Place.h"

#include <algorithm>
#include <string_view>

#include "kvf/text/Text.h"

namespace {

/// How many characters are between two columns, counted in bytes from 1.
std::size_t charactersFrom(std::size_t column, const SourceFile& file, std::size_t line,
                           std::size_t endColumn) {
  const std::string_view text = file.text;
  return charactersIn(text.substr(file.lineStarts[line - 1] + column - 1, endColumn - column));
}

}  // namespace

std::size_t Places::charactersBefore(const SourceFile& file, std::size_t line, std::size_t column) {
  const bool isLater = file_ == &file && line_ == line && column_ <= column;
  characters_ = isLater ? characters_ + charactersFrom(column_, file, line, column)
                        : charactersFrom(1, file, line, column);
  file_ = &file;
  line_ = line;
  column_ = column;
  return characters_;
}

Place Places::of(const Inspection& inspection, const Position& at) {
  if (at.file == Position::commandLine) return {.line = at.line};
  if (at.column == 0) return {.line = std::max<std::size_t>(at.line, 1)};
  const SourceFile& file = inspection.fileOf(at);
  const std::size_t start = charactersBefore(file, at.line, at.column) + 1;
  const std::size_t end = at.line == at.endLine
                              ? start + charactersFrom(at.column, file, at.line, at.endColumn)
                              : charactersFrom(1, file, at.endLine, at.endColumn) + 1;
  return {.line = at.line, .column = start, .endLine = at.endLine, .endColumn = end};
}
