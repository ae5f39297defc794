#include <initializer_list>
#include <string_view>

#include "kvf/report/FindingFormats.h"
#include "kvf/report/Place.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/PercentEscapes.h"
#include "kvf/text/Text.h"

namespace {

/// What the runner decodes in a message, and in the values in front of it.
constexpr std::string_view ofMessages = "%\r\n";
constexpr std::string_view ofValues = "%\r\n:,";

std::string escaped(std::string_view text, std::string_view special) {
  return percentEscaped(text,
                        [special](char c) { return special.find(c) == std::string_view::npos; });
}

std::string value(std::string_view name, std::size_t number) {
  return concat({",", name, "=", std::to_string(number)});
}

/// An annotation has columns only within one line.
std::string placeIn(const Finding& finding, const ReportOptions& options, Places& places) {
  if (finding.at.file == Position::commandLine) return {};
  const Place place = places.of(*finding.inspection, finding.at);
  std::string text = concat(
      {"file=", escaped(fileNameIn(finding, options.root), ofValues), value("line", place.line)});
  if (place.hasColumns()) text += value("endLine", place.endLine);
  if (place.hasColumns() && place.line == place.endLine)
    text += value("col", place.column) + value("endColumn", place.endColumn);
  return text + ",";
}

}  // namespace

std::string githubReport(std::span<const Finding> findings, const ReportOptions& options) {
  ReportOptions own = options;
  if (own.root.empty()) own.root = std::filesystem::current_path();
  std::string text;
  Places places;
  for (const Finding& finding : findings) {
    const bool isArgument = finding.at.file == Position::commandLine;
    const std::string argument =
        isArgument ? concat({"command line:", std::to_string(finding.line()), ": "}) : "";
    text += concat({"::", nameOf(finding.severity()), " ", placeIn(finding, own, places),
                    "title=kvf ", escaped(finding.rule->id, ofValues),
                    "::", escaped(argument + printable(finding.text), ofMessages), "\n"});
  }
  return text;
}
