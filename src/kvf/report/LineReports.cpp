#include <initializer_list>
#include <string_view>

#include "kvf/report/FindingFormats.h"
#include "kvf/report/Place.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

constexpr const char* bold = "\033[1m";
constexpr const char* red = "\033[1;31m";
constexpr const char* yellow = "\033[1;33m";
constexpr const char* plain = "\033[0m";

void append(std::string& text, std::initializer_list<std::string_view> pieces) {
  for (const std::string_view piece : pieces) text += piece;
}

}  // namespace

std::string textReport(std::span<const Finding> findings, const ReportOptions& options) {
  const auto inColour = [&](const char* colour) { return options.colour ? colour : ""; };
  std::string text;
  for (const Finding& finding : findings) {
    const Severity severity = finding.severity();
    append(text, {inColour(bold), printable(fileNameIn(finding, options.root)), ":",
                  std::to_string(finding.line()), inColour(plain), ": ",
                  inColour(severity == Severity::error ? red : yellow), nameOf(severity),
                  inColour(plain), ": ", printable(finding.text), " [", finding.rule->id, "]\n"});
  }
  return text;
}

std::string gccReport(std::span<const Finding> findings, const ReportOptions& options) {
  std::string text;
  Places places;
  for (const Finding& finding : findings) {
    const Place place = places.of(*finding.inspection, finding.at);
    const std::string column =
        place.hasColumns() ? concat({":", std::to_string(place.column)}) : "";
    append(text, {printable(fileNameIn(finding, options.root)), ":", std::to_string(place.line),
                  column, ": ", nameOf(finding.severity()), ": ", printable(finding.text), " [",
                  finding.rule->id, "]\n"});
  }
  return text;
}
