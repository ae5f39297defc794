#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/wrapper_vid.h"
#include "kvf/report/FindingFormats.h"
#include "kvf/report/Fingerprints.h"
#include "kvf/report/Place.h"
#include "kvf/report/RuleText.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/JsonText.h"
#include "kvf/text/PercentEscapes.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* rootId = "ROOT";

/// A path as a part of a URI.
std::string escapedPath(std::string_view path) {
  constexpr std::string_view plain = "-._~/!$&'()*+,;=@";
  return percentEscaped(path, [plain](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x80 && (std::isalnum(byte) != 0 || plain.find(c) != plain.npos);
  });
}

Json artifactOf(const Finding& finding, const fs::path& root) {
  if (const auto name = nameBelow(root, finding))
    return {{"uri", escapedPath(*name)}, {"uriBaseId", rootId}};
  return {{"uri", "file://" + escapedPath(finding.inspection->pathOf(finding.at))}};
}

Json regionOf(const Place& place) {
  return {{"startLine", place.line},
          {"startColumn", place.column},
          {"endLine", place.endLine},
          {"endColumn", place.endColumn}};
}

Json wholeFile(const SourceFile& file) {
  const std::size_t lines = file.lineStarts.size() - (file.text.ends_with('\n') ? 1 : 0);
  return {{"startLine", 1}, {"endLine", std::max<std::size_t>(lines, 1)}};
}

Json locationOf(const Finding& finding, const fs::path& root, Places& places) {
  if (finding.at.file == Position::commandLine) {
    const std::string name = concat({"command line:", std::to_string(finding.line())});
    return {
        {"logicalLocations", Json::array({{{"fullyQualifiedName", name}, {"kind", "parameter"}}})}};
  }
  const Inspection& inspection = *finding.inspection;
  const Place place = places.of(inspection, finding.at);
  return {{"physicalLocation",
           {{"artifactLocation", artifactOf(finding, root)},
            {"region",
             place.hasColumns() ? regionOf(place) : wholeFile(inspection.fileOf(finding.at))}}}};
}

Json fixOf(const Finding& finding, const fs::path& root, Places& places) {
  Json replacements = Json::array();
  for (const Edit& edit : finding.fix) {
    replacements.push_back({{"deletedRegion", regionOf(places.of(*finding.inspection, edit.at))},
                            {"insertedContent", {{"text", edit.text}}}});
  }
  const Json change = {{"artifactLocation", artifactOf(finding, root)},
                       {"replacements", std::move(replacements)}};
  return {{"description", {{"text", concat({"Mend ", finding.rule->id})}}},
          {"artifactChanges", Json::array({change})}};
}

Json ruleDescriptor(const Rule& rule) {
  const std::string example = exampleText(rule.example);
  const std::string remedy = exampleText(rule.remedy);
  return {{"id", rule.id},
          {"shortDescription", {{"text", rule.summary}}},
          {"fullDescription", {{"text", rule.explanation}}},
          {"defaultConfiguration", {{"level", nameOf(rule.severity)}}},
          {"help",
           {{"text", concat({rule.explanation, "\n\nExample:\n", example, "\nRemedy:\n", remedy})},
            {"markdown", concat({rule.explanation, "\n\nExample:\n\n```\n", example,
                                 "```\n\nRemedy:\n\n```\n", remedy, "```\n"})}}}};
}

Json driver(const std::vector<const Rule*>& rules) {
  Json descriptors = Json::array();
  for (const Rule* rule : rules) descriptors.push_back(ruleDescriptor(*rule));
  return {{"name", "kvf"}, {"version", wrapper_version}, {"rules", std::move(descriptors)}};
}

Json resultOf(const Finding& finding, const fs::path& root, std::size_t ruleIndex,
              Fingerprints& fingerprints, Places& places) {
  Json result = {{"ruleId", finding.rule->id},
                 {"ruleIndex", ruleIndex},
                 {"level", nameOf(finding.severity())},
                 {"message", {{"text", finding.text}}},
                 {"locations", Json::array({locationOf(finding, root, places)})},
                 {"partialFingerprints", {{"kvf/v1", fingerprints.next(finding)}}},
                 {"properties", {{"fatal", finding.fatal}}}};
  if (!finding.fix.empty()) result["fixes"] = Json::array({fixOf(finding, root, places)});
  return result;
}

}  // namespace

std::string sarifReport(std::span<const Finding> findings, const ReportOptions& options) {
  const fs::path root = options.root.empty() ? fs::current_path() : options.root;
  const std::vector<const Rule*> rules = allRules();
  Json results = Json::array();
  Fingerprints fingerprints(root);
  Places places;
  for (const Finding& finding : findings) {
    const auto rule = std::find(rules.begin(), rules.end(), finding.rule);
    const auto index = static_cast<std::size_t>(rule - rules.begin());
    results.push_back(resultOf(finding, root, index, fingerprints, places));
  }
  const std::string rootUri = concat({"file://", escapedPath((root / "").native())});
  const Json run = {{"tool", {{"driver", driver(rules)}}},
                    {"columnKind", "unicodeCodePoints"},
                    {"originalUriBaseIds", {{rootId, {{"uri", rootUri}}}}},
                    {"results", std::move(results)}};
  return jsonText(Json{{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                       {"version", "2.1.0"},
                       {"runs", Json::array({run})}});
}
