#include <string_view>

#include "kvf/report/FindingFormats.h"
#include "kvf/report/Place.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/MarkupText.h"
#include "kvf/text/Text.h"

namespace {

std::string errorOf(const Finding& finding, Places& places) {
  const Place place = places.of(*finding.inspection, finding.at);
  const std::string column =
      place.hasColumns() ? concat({" column=\"", std::to_string(place.column), "\""}) : "";
  return concat({"    <error line=\"", std::to_string(place.line), "\"", column, " severity=\"",
                 nameOf(finding.severity()), "\" message=\"", markupText(finding.text),
                 "\" source=\"kvf.", finding.rule->id, "\"/>\n"});
}

}  // namespace

std::string checkstyleReport(std::span<const Finding> findings, const ReportOptions& options) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<checkstyle version=\"4.3\">\n";
  std::string current;
  bool isOpen = false;
  Places places;
  for (const Finding& finding : findings) {
    const std::string name = fileNameIn(finding, options.root);
    if (isOpen && name != current) text += "  </file>\n";
    if (!isOpen || name != current) text += concat({"  <file name=\"", markupText(name), "\">\n"});
    text += errorOf(finding, places);
    current = name;
    isOpen = true;
  }
  if (isOpen) text += "  </file>\n";
  return text + "</checkstyle>\n";
}
