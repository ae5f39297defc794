#include "kvf/rules/Finding.h"

#include <algorithm>

std::size_t Finding::line() const {
  return at.file == Position::commandLine ? at.line : std::max<std::size_t>(at.line, 1);
}

std::string Finding::fileName() const {
  if (at.file == Position::commandLine) return "command line";
  return inspection->nameOf(inspection->fileOf(at));
}

Finding& Report::operator()(const Position& position, std::string text) {
  Position at = inspection_->placeOf(position);
  const bool isLine = at.file != Position::commandLine && at.line != 0 && at.column == 0;
  if (isLine) at = inspection_->fileOf(at).lineStretch(at.file, at.line);
  return findings_->emplace_back(
      Finding{.rule = rule_, .inspection = inspection_, .at = at, .text = std::move(text)});
}

Finding& Report::fatal(const Position& at, std::string text, std::string message) {
  Finding& finding = (*this)(at, std::move(text));
  finding.fatal = true;
  finding.message = std::move(message);
  return finding;
}

Finding& Report::harmless(const Position& at, std::string text) {
  Finding& finding = (*this)(at, std::move(text));
  finding.harmless = true;
  return finding;
}

Finding& Report::fatalIf(bool fatal, const Position& at, std::string text) {
  Finding& finding = (*this)(at, std::move(text));
  finding.fatal = fatal;
  return finding;
}
