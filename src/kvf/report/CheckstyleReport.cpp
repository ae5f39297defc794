#include <string_view>

#include "kvf/report/FindingFormats.h"
#include "kvf/report/Place.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// As an attribute's value. Two characters that XML does not have at all become others.
std::string attribute(std::string_view text) {
  std::string result;
  for (const char c : printable(text)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  for (const std::string_view none : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    for (std::size_t at = 0; (at = result.find(none, at)) != std::string::npos;)
      result.replace(at, none.size(), "\xEF\xBF\xBD");
  }
  return result;
}

std::string errorOf(const Finding& finding) {
  const Place place = placeOf(*finding.inspection, finding.at);
  const std::string column =
      place.hasColumns() ? concat({" column=\"", std::to_string(place.column), "\""}) : "";
  return concat({"    <error line=\"", std::to_string(place.line), "\"", column, " severity=\"",
                 nameOf(finding.severity()), "\" message=\"", attribute(finding.text),
                 "\" source=\"kvf.", finding.rule->id, "\"/>\n"});
}

}  // namespace

std::string checkstyleReport(std::span<const Finding> findings, const ReportOptions& options) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<checkstyle version=\"4.3\">\n";
  std::string current;
  bool isOpen = false;
  for (const Finding& finding : findings) {
    const std::string name = fileNameIn(finding, options.root);
    if (isOpen && name != current) text += "  </file>\n";
    if (!isOpen || name != current) text += concat({"  <file name=\"", attribute(name), "\">\n"});
    text += errorOf(finding);
    current = name;
    isOpen = true;
  }
  if (isOpen) text += "  </file>\n";
  return text + "</checkstyle>\n";
}
