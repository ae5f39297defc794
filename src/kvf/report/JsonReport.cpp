#include <nlohmann/json.hpp>
#include <utility>

#include "kvf/report/FindingFormats.h"
#include "kvf/report/Place.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/JsonText.h"

namespace {

using Json = nlohmann::ordered_json;

void addColumns(const Place& place, Json& object) {
  if (!place.hasColumns()) return;
  object["column"] = place.column;
  object["endLine"] = place.endLine;
  object["endColumn"] = place.endColumn;
}

Json fixOf(const Finding& finding, Places& places) {
  Json edits = Json::array();
  for (const Edit& edit : finding.fix) {
    Json one = {{"line", edit.at.line}};
    addColumns(places.of(*finding.inspection, edit.at), one);
    one["text"] = edit.text;
    edits.push_back(std::move(one));
  }
  return edits;
}

}  // namespace

std::string jsonReport(std::span<const Finding> findings, const ReportOptions& options) {
  Json list = Json::array();
  Places places;
  for (const Finding& finding : findings) {
    Json one = {{"file", fileNameIn(finding, options.root)},
                {"line", finding.line()},
                {"severity", nameOf(finding.severity())},
                {"rule", finding.rule->id},
                {"fatal", finding.fatal},
                {"text", finding.text}};
    addColumns(places.of(*finding.inspection, finding.at), one);
    if (!finding.fix.empty()) one["fix"] = fixOf(finding, places);
    list.push_back(std::move(one));
  }
  return versionedJsonText(Json{{"findings", std::move(list)}});
}
