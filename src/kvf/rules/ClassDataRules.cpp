#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>

#include "foundation/PropertyKeys.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

void classDataArchive(const Inspection& inspection, Report& report) {
  const std::vector<std::string> archives = sharedArchiveFiles(inspection.plan.options);
  if (archives.empty() || !inspection.isJava() || !inspection.startsApplication()) return;
  const ClassDataSubject subject = classDataSubject(inspection);
  if (!subject.launch) return;

  std::vector<std::string> reasons = classDataObstacles(*subject.launch);
  for (const std::string& archive : archives) {
    const std::string file = inspection.atApplication(archive);
    for (const std::string& misfit :
         classDataMisfits(file, subject.launch->jvm.library, subject.launch->classPath)) {
      reasons.push_back(misfit);
    }
  }
  for (const std::string& reason : reasons) {
    report(positionOfOption(inspection, concat({"-XX:SharedArchiveFile=", archives.back()})),
           concat({"the JVM does not use the class-data archive ", shown(archives.back()), ": ",
                   reason, "; the application starts without it, and `kvf cds` writes a new one"}));
  }
}

void aheadOfTime(const Inspection& inspection, Report& report) {
  const std::string cache = aheadOfTimeCache(inspection.plan.options);
  if (cache.empty() || !inspection.isJava() || !inspection.startsApplication()) return;
  std::error_code error;
  if (std::filesystem::exists(inspection.atApplication(cache), error)) return;
  const auto& options = inspection.plan.options;
  const bool isNeeded = std::any_of(options.begin(), options.end(), [](const std::string& option) {
    return option == "-XX:AOTMode=on" || option == "-XX:AOTMode=required";
  });
  report.fatalIf(isNeeded && inspection.startsJvm(),
                 positionOfOption(inspection, "-XX:AOTCache=" + cache),
                 concat({"there is no AOT cache ", shown(cache), ", and the JVM ",
                         isNeeded ? "does not start" : "starts more slowly without it",
                         ": write it with -XX:AOTCacheOutput, or correct the path"}));
}

constexpr Rule rules[] = {
    {.id = "class-data-archive",
     .severity = Severity::warning,
     .summary = "a class-data archive that does not fit",
     .explanation = "A JVM uses an archive of -XX:SharedArchiveFile only if it wrote it itself, "
                    "for the same class path with the same files in it. Else it starts without, "
                    "more slowly and by default silently.",
     .example = {.note = "acme.jsa is of another JVM.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/lib/acme.jar\n"
                          "java.extended.properties=-XX:SharedArchiveFile=%kvf.file.dir%/acme.jsa",
                 .files = {{.path = "acme.jsa", .content = "of another JVM\n"}}},
     .remedy = {.note = "kvf cds acme.kvf writes a new one."},
     .check = classDataArchive},
    {.id = "aot-cache",
     .severity = Severity::warning,
     .summary = "an AOT cache that is not there",
     .explanation = "A JVM of Java 24 and newer starts without the cache of -XX:AOTCache then, "
                    "unless -XX:AOTMode=on says otherwise, and prints a line about it.",
     .example = {.lines = "java.extended.properties=-XX:AOTCache=%kvf.file.dir%/acme.aot"},
     .remedy = {.lines = "java.extended.properties=-XX:AOTCache=%kvf.file.dir%/acme.aot",
                .files = {{.path = "acme.aot", .content = "Written by -XX:AOTCacheOutput."}}},
     .check = aheadOfTime},
};

}  // namespace

std::span<const Rule> classDataRules() {
  return rules;
}
