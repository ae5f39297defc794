#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>

#include "foundation/PropertyKeys.h"
#include "kvf/cds/ArchiveManifest.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/process/FileError.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// Versions of the JVM that run old code from an AOT cache after a jar has been replaced.
constexpr std::string_view staleVersions[] = {"25", "25.0.0", "25.0.1", "25.0.2", "25.0.3"};

/// What no longer fits. Reports what keeps that from being told.
std::vector<std::string> misfitsOf(const std::string& archive, const ClassDataLaunch& launch,
                                   bool deep, const Position& at, Report& report) {
  try {
    if (const auto manifest = readManifest(archive))
      return manifestMisfits(*manifest, archive, launch, deep);
    return classDataMisfits(archive, launch.jvm.library, launch.classPath);
  } catch (const FileError& error) {
    report(at, concat({"it is not known whether ", shown(archive),
                       " still fits: ", printable(error.what()),
                       ": let this user read it, or check as another one"}));
    return {};
  }
}

const ArchiveKind& kindOf(const std::string& archive, std::string_view usual) {
  const auto manifest = readManifest(archive);
  const ArchiveKind* kind = manifest ? findArchiveKind(manifest->kind) : nullptr;
  return kind != nullptr ? *kind : *findArchiveKind(usual);
}

void classDataArchive(const Inspection& inspection, Report& report) {
  const std::vector<std::string> archives = sharedArchiveFiles(inspection.plan.options);
  if (archives.empty() || !inspection.isJava() || !inspection.startsApplication()) return;
  const ClassDataSubject subject = classDataSubject(inspection);
  if (!subject.launch) return;

  const Position at =
      positionOfOption(inspection, concat({"-XX:SharedArchiveFile=", archives.back()}));
  const std::string last = inspection.atApplication(archives.back());
  std::vector<std::string> reasons = classDataObstacles(*subject.launch, kindOf(last, "dynamic"));
  for (const std::string& archive : archives) {
    const std::string file = inspection.atApplication(archive);
    for (const std::string& misfit : misfitsOf(file, *subject.launch, inspection.deep, at, report))
      reasons.push_back(misfit);
  }
  for (const std::string& reason : reasons) {
    report(at,
           concat({"the JVM does not use the class-data archive ", shown(archives.back()), ": ",
                   reason, "; the application starts without it, and `kvf cds` writes a new one"}));
  }
}

void aheadOfTime(const Inspection& inspection, Report& report) {
  const std::string cache = aheadOfTimeCache(inspection.plan.options);
  if (cache.empty() || !inspection.isJava() || !inspection.startsApplication()) return;
  const Position at = positionOfOption(inspection, "-XX:AOTCache=" + cache);
  const std::string file = inspection.atApplication(cache);
  const ClassDataSubject subject = classDataSubject(inspection);
  if (std::error_code error; !std::filesystem::exists(file, error)) {
    const auto& options = inspection.plan.options;
    const bool isNeeded =
        std::any_of(options.begin(), options.end(), [](const std::string& option) {
          return option == "-XX:AOTMode=on" || option == "-XX:AOTMode=required";
        });
    report.fatalIf(isNeeded && inspection.startsJvm(), at,
                   concat({"there is no AOT cache ", shown(cache), ", and the JVM ",
                           isNeeded ? "does not start" : "starts more slowly without it",
                           ": write it with `kvf cds`, or correct the path"}));
    return;
  }
  if (!subject.launch) return;
  const std::string& version = subject.launch->jvm.version;
  if (std::find(std::begin(staleVersions), std::end(staleVersions), version) !=
      std::end(staleVersions)) {
    report(at,
           concat({"Java ", version,
                   " runs old code from an AOT cache after a jar has been replaced (JDK-8377932, "
                   "fixed in 25.0.4): `kvf cds` writes a static archive instead"}));
  }
  std::vector<std::string> reasons = classDataObstacles(*subject.launch, *findArchiveKind("aot"));
  for (const std::string& misfit : misfitsOf(file, *subject.launch, inspection.deep, at, report))
    reasons.push_back(misfit);
  for (const std::string& reason : reasons) {
    report(at, concat({"the AOT cache ", shown(cache), " does not fit: ", reason,
                       "; the application starts more slowly than without a cache, and `kvf cds` "
                       "writes a new one"}));
  }
}

constexpr Rule rules[] = {
    {.id = "class-data-archive",
     .severity = Severity::warning,
     .summary = "a class-data archive that does not fit",
     .explanation = "A JVM uses the archive of -XX:SharedArchiveFile only if that JVM wrote it, "
                    "for the same class path with the same files in it. Otherwise it starts "
                    "without it, more slowly and by default silently.",
     .example = {.note = "acme.jsa was written by another JVM.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/lib/acme.jar\n"
                          "java.extended.properties=-XX:SharedArchiveFile=%kvf.file.dir%/acme.jsa",
                 .files = {{.path = "acme.jsa", .content = "of another JVM\n"}}},
     .remedy = {.note = "kvf cds acme.kvf writes a new archive."},
     .check = classDataArchive},
    {.id = "aot-cache",
     .severity = Severity::warning,
     .summary = "an AOT cache that is missing or does not fit",
     .explanation =
         "If the cache of -XX:AOTCache is missing or does not fit, a JVM of Java 24 or newer uses "
         "neither it nor its own archive, starts more slowly and prints a line about it; with "
         "-XX:AOTMode=on it does not start. Java 25.0.0 to 25.0.3 use a cache that does not fit, "
         "with the code of the jars that it was made from.",
     .example = {.lines = "java.extended.properties=-XX:AOTCache=%kvf.file.dir%/acme.aot"},
     .remedy = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib/acme.jar\n"
                         "java.extended.properties=-XX:AOTCache=%kvf.file.dir%/acme.aot",
                .files = {{.path = "acme.aot", .content = "\xA2\xAB\x0B\xF0 is how it begins."}}},
     .check = aheadOfTime},
};

}  // namespace

std::span<const Rule> classDataRules() {
  return rules;
}
