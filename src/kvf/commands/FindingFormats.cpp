#include "kvf/commands/FindingFormats.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* bold = "\033[1m";
constexpr const char* red = "\033[1;31m";
constexpr const char* yellow = "\033[1;33m";
constexpr const char* plain = "\033[0m";

ExitStatus printAsText(std::span<const Finding> findings) {
  const bool colour = wantsColour();
  std::string text;
  for (const Finding& finding : findings) {
    const Severity severity = finding.severity();
    const char* severityColour = severity == Severity::error ? red : yellow;
    text +=
        concat({colour ? bold : "", printable(finding.file), ":", std::to_string(finding.line()),
                colour ? plain : "", ": ", colour ? severityColour : "", nameOf(severity),
                colour ? plain : "", ": ", printable(finding.text), " [", finding.rule->id, "]\n"});
  }
  return print(text);
}

void addColumns(const Position& at, Json& object) {
  if (at.column == 0) return;
  object["column"] = at.column;
  object["endLine"] = at.endLine;
  object["endColumn"] = at.endColumn;
}

Json fixOf(const Finding& finding) {
  Json edits = Json::array();
  for (const Edit& edit : finding.fix) {
    Json one = {{"line", edit.at.line}};
    addColumns(edit.at, one);
    one["text"] = edit.text;
    edits.push_back(std::move(one));
  }
  return edits;
}

ExitStatus printAsJson(std::span<const Finding> findings) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    Json one = {{"file", finding.file},
                {"line", finding.line()},
                {"severity", nameOf(finding.severity())},
                {"rule", finding.rule->id},
                {"fatal", finding.fatal},
                {"text", finding.text}};
    addColumns(finding.at, one);
    if (!finding.fix.empty()) one["fix"] = fixOf(finding);
    list.push_back(std::move(one));
  }
  return printJson(Json{{"findings", std::move(list)}});
}

constexpr FindingFormat table[] = {
    {.name = "text", .print = printAsText},
    {.name = "json", .print = printAsJson},
};

}  // namespace

std::span<const FindingFormat> findingFormats() {
  return table;
}

const FindingFormat* findFindingFormat(std::string_view name) {
  const auto* found =
      std::find_if(std::begin(table), std::end(table),
                   [&](const FindingFormat& format) { return name == format.name; });
  return found == std::end(table) ? nullptr : found;
}
