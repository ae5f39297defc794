#include "kvf/lsp/Diagnostics.h"

#include <algorithm>
#include <map>
#include <set>
#include <span>

#include "foundation/PropertyKeys.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

enum class DiagnosticSeverity : int { error = 1, warning = 2 };

constexpr const char* source = "kvf";

/// What an edit takes away. REQUIRES: it has columns.
std::string_view replacedBy(const Edit& edit, const SourceFile& file) {
  const std::size_t start = file.lineStarts[edit.at.line - 1] + edit.at.column - 1;
  const std::size_t end = file.lineStarts[edit.at.endLine - 1] + edit.at.endColumn - 1;
  return std::string_view(file.text).substr(start, end - start);
}

std::string titleOf(const Finding& finding) {
  if (finding.fix.size() > 1) return concat({"Mend: ", finding.rule->summary});
  const Edit& edit = finding.fix.front();
  const std::string_view old = replacedBy(edit, finding.inspection->fileOf(edit.at));
  if (old.empty()) return concat({"Insert ", shown(edit.text)});
  if (edit.text.empty()) return concat({"Remove ", shown(old)});
  return concat({"Replace ", shown(old), " with ", shown(edit.text)});
}

/// Null for a fix of what an editor does not show, such as a byte order mark.
Json fixOf(LaunchView& view, const Finding& finding) {
  Json edits = Json::array();
  for (const Edit& edit : finding.fix) {
    const ClientPlace place = view.placeOf(*finding.inspection, edit.at);
    if (place.range.start == place.range.end && edit.text.empty()) return nullptr;
    edits.push_back({{"uri", place.uri}, {"range", asJson(place.range)}, {"newText", edit.text}});
  }
  return {{"title", titleOf(finding)}, {"edits", std::move(edits)}};
}

Json diagnosticOf(LaunchView& view, const Finding& finding, const TextRange& range) {
  const bool isError = finding.severity() == Severity::error;
  Json diagnostic = {
      {"range", asJson(range)},
      {"severity", isError ? DiagnosticSeverity::error : DiagnosticSeverity::warning},
      {"code", finding.rule->id},
      {"source", source},
      {"message", printable(finding.text)}};
  if (finding.fix.empty()) return diagnostic;
  Json fix = fixOf(view, finding);
  if (!fix.is_null()) diagnostic["data"] = std::move(fix);
  return diagnostic;
}

bool runsSomething(const Inspection& inspection) {
  return inspection.isJava() || inspection.value(keys::applicationLibrary);
}

}  // namespace

Json diagnosticsOf(const Workspace& workspace, const OpenDocument& document,
                   const std::vector<const OpenDocument*>& others) {
  LaunchView view(workspace, document);
  const std::size_t own = view.inspections().size();
  for (const OpenDocument* other : others) view.add(*other);
  const std::vector<Inspection>& all = view.inspections();
  const std::span<const Inspection> inspections = std::span(all).first(own);
  std::map<std::string, Json> files;
  for (const Finding& finding : check(all, {})) {
    if (finding.inspection > &inspections.back()) continue;
    const ClientPlace place = view.placeOf(*finding.inspection, finding.at);
    Json& file = files[place.identity];
    if (file.is_null())
      file = {{"identity", place.identity}, {"uri", place.uri}, {"diagnostics", Json::array()}};
    file["diagnostics"].push_back(diagnosticOf(view, finding, place.range));
  }
  std::set<std::string> read;
  for (const Inspection& inspection : inspections)
    for (std::size_t file = 0; file < inspection.run().files.size(); ++file)
      read.insert(identityOf(inspection.pathOf({.file = static_cast<int>(file)})));
  Json list = Json::array();
  for (auto& [identity, file] : files) list.push_back(std::move(file));
  return {{"files", std::move(list)},
          {"read", read},
          {"runs", std::any_of(inspections.begin(), inspections.end(), runsSomething)}};
}

Json diagnosticOfFailure(const OpenDocument& document, const std::string& why) {
  return {{"range", asJson(document.document.lineAt(0))},
          {"severity", DiagnosticSeverity::warning},
          {"source", source},
          {"message", "not checked: " + printable(why)}};
}
