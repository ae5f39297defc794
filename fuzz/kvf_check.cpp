// A hostile properties file, checked and explained: whatever it says and wherever it points, that
// ends, findings point into the files that were read, and the process is left as it was, so that a
// second check finds the same. A fix does away with what it mends, and all of them come to an end.

#include <algorithm>
#include <map>
#include <set>

#include <sys/mman.h>
#include <unistd.h>

#include "Fuzzing.h"
#include "kvf/explain/Explanation.h"
#include "kvf/fix/Fixes.h"
#include "kvf/launch/Inspector.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// The same file in memory for every input.
std::string fileWith(std::string_view text) {
  static const int file = ::memfd_create("app.kvf", MFD_CLOEXEC);
  if (::ftruncate(file, 0) != 0) std::abort();
  if (::pwrite(file, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
    std::abort();
  return "/proc/self/fd/" + std::to_string(file);
}

Texts environment() {
  Texts variables;
  for (char** variable = environ; *variable != nullptr; ++variable)
    variables.emplace_back(*variable);
  return variables;
}

Texts listed(const std::vector<Finding>& findings) {
  Texts list;
  for (const Finding& finding : findings) {
    list.push_back(finding.rule->id + (" " + finding.fileName()) + ":" +
                   std::to_string(finding.line()) + ": " + finding.text);
  }
  return list;
}

bool holds(const std::vector<Finding>& findings, const Finding& wanted) {
  return std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
    return finding.rule == wanted.rule && finding.at == wanted.at && finding.text == wanted.text;
  });
}

/// Mends each finding by itself, and all of them.
void mend(const std::string& file, const std::vector<Finding>& findings) {
  for (const Finding& finding : findings) {
    Fixes fixes;
    if (!fixes.apply({&finding, 1})) continue;
    const Inspection mended = inspectFile(file, {}, fixes.texts());
    requireSame(finding.rule->id, false, holds(check({&mended, 1}, {}), finding));
  }
  Fixes fixes;
  fixes.apply(findings);
  bool ends = false;
  for (int round = 0; round < 20 && !ends; ++round) {
    const Inspection mended = inspectFile(file, {}, fixes.texts());
    ends = !fixes.apply(check({&mended, 1}, {}));
  }
  requireSame("end of fixes", true, ends);
}

}  // namespace

void fuzz(std::string_view input) {
  const std::string file = fileWith(input);
  const Texts before = environment();
  Inspection inspection = inspectFile(file);
  const std::vector<Finding> findings = check({&inspection, 1}, {});
  explainProperties(inspection);
  fatalFindings(inspection);
  differencesOfJavaCommand(inspection);
  const std::string command = equivalentJavaCommand(inspection, printableShellWord);
  requireSame("command for a terminal", command, printable(command));
  requireSame("environment", before, environment());
  const Inspection second = inspectFile(file);
  requireSame("second check", listed(findings), listed(check({&second, 1}, {})));
  mend(file, findings);
  inspection.forScript = true;
  check({&inspection, 1}, {});

  std::map<std::string, std::size_t> lines;
  for (const SourceFile& source : inspection.outer.files) {
    lines[inspection.nameOf(source)] = source.lineStarts.size();
  }
  for (const Finding& finding : findings) {
    const auto found = lines.find(finding.fileName());
    if (found == lines.end()) continue;
    requireSame("line " + std::to_string(finding.line()), true,
                finding.line() <= std::max<std::size_t>(found->second, 1));
  }
}
