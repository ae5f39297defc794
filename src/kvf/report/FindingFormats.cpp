#include "kvf/report/FindingFormats.h"

#include <algorithm>
#include <iterator>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr FindingFormat table[] = {
    {.name = "text", .summary = "for people", .text = textReport},
    {.name = "gcc", .summary = "as compilers", .text = gccReport},
    {.name = "json", .summary = "everything", .text = jsonReport},
    {.name = "sarif", .summary = "SARIF 2.1.0", .text = sarifReport},
    {.name = "github", .summary = "annotations of GitHub Actions", .text = githubReport},
    {.name = "gitlab", .summary = "code quality of GitLab", .text = gitlabReport},
    {.name = "checkstyle", .summary = "XML of Checkstyle", .text = checkstyleReport},
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

std::optional<std::string> nameBelow(const fs::path& root, const Finding& finding) {
  if (root.empty() || finding.at.file == Position::commandLine) return std::nullopt;
  const fs::path path = finding.inspection->pathOf(finding.at);
  // A link to a file counts where the link is.
  std::error_code error;
  const fs::path folder = fs::weakly_canonical(path.parent_path(), error);
  const fs::path below =
      ((error ? path.parent_path() : folder) / path.filename()).lexically_relative(root);
  const bool isBelow = !below.empty() && *below.begin() != "..";
  return isBelow ? std::optional(below.native()) : std::nullopt;
}

std::string fileNameIn(const Finding& finding, const fs::path& root) {
  return nameBelow(root, finding).value_or(finding.fileName());
}
