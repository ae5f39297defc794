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

Place Places::of(const Inspection& inspection, const Position& at) {
  if (at.file == Position::commandLine) return {.line = at.line};
  if (at.column == 0) return {.line = std::max<std::size_t>(at.line, 1)};
  const SourceFile& file = inspection.fileOf(at);
  if (file_ == &file && at_ == at) return place_;
  const bool isLater = file_ == &file && at_.line == at.line && at_.column <= at.column;
  const std::size_t start =
      isLater ? place_.column + charactersFrom(at_.column, file, at.line, at.column)
              : charactersFrom(1, file, at.line, at.column) + 1;
  const std::size_t end = at.line == at.endLine
                              ? start + charactersFrom(at.column, file, at.line, at.endColumn)
                              : charactersFrom(1, file, at.endLine, at.endColumn) + 1;
  file_ = &file;
  at_ = at;
  place_ = {.line = at.line, .column = start, .endLine = at.endLine, .endColumn = end};
  return place_;
}
