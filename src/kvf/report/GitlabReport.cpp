#include <nlohmann/json.hpp>

#include "kvf/report/FindingFormats.h"
#include "kvf/report/Fingerprints.h"
#include "kvf/report/Place.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/JsonText.h"
#include "kvf/text/Text.h"

std::string gitlabReport(std::span<const Finding> findings, const ReportOptions& options) {
  const auto root = options.root.empty() ? std::filesystem::current_path() : options.root;
  Fingerprints fingerprints(root);
  Places places;
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    const bool isError = finding.severity() == Severity::error;
    list.push_back({{"description", finding.text},
                    {"check_name", finding.rule->id},
                    {"fingerprint", fingerprints.next(finding)},
                    {"severity", finding.fatal ? "critical"
                                 : isError     ? "major"
                                               : "minor"},
                    {"location",
                     {{"path", fileNameIn(finding, root)},
                      {"lines", {{"begin", places.of(*finding.inspection, finding.at).line}}}}}});
  }
  return jsonText(list);
}
