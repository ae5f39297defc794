#include <algorithm>
#include <string>

#include "config/PropertiesAdjustment.h"
#include "foundation/PropertyKeys.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// The class that may rewrite the properties file before a launch.

namespace {

void adjusterLibrary(const Inspection& inspection, Report& report) {
  if (inspection.valueOf(keys::adjusterClassPath).empty() || inspection.isJava()) return;
  if (!inspection.knowsAllKeys()) return;
  report(inspection.positionOf(keys::adjusterClassPath),
         "an adjuster needs java.library: without it the application itself runs in the adjuster's "
         "place, and its status decides; name the JVM's library");
}

void adjusterMissing(const Inspection& inspection, Report& report) {
  if (!inspection.adjuster || inspection.adjuster->startClass()) return;
  const auto& options = inspection.plan.options;
  const bool mayComeFromElsewhere =
      std::any_of(options.begin(), options.end(), [](const std::string& option) {
        return option.starts_with("-Xbootclasspath") || option.starts_with("-javaagent");
      });
  if (mayComeFromElsewhere) return;
  constexpr char message[] = "Adjustment failed.";
  report.fatal(
      inspection.positionOf(keys::adjusterClassPath),
      concat({"the class ", adjusterClass, " is not in ",
              shown(inspection.valueOf(keys::adjusterClassPath)), ", and the launch ends with ",
              shown(message), ": name the archive that has it, or remove the key"}),
      message);
}

constexpr Rule rules[] = {
    {.id = "adjuster-library",
     .severity = Severity::error,
     .summary = "an adjuster without java.library",
     .explanation = "The adjuster is a Java class. Without java.library the run that should adjust "
                    "starts the native application.",
     .example = {.lines = "application.library=%kvf.file.dir%/"
                          "libacme.so\nvelox.adjuster.class.path=%kvf.file.dir%/adjuster.jar",
                 .whole = true},
     .remedy = {.note = "Name the JVM's library, or remove the adjuster.",
                .lines = "application.library=%kvf.file.dir%/libacme.so",
                .whole = true},
     .check = adjusterLibrary},
    {.id = "adjuster-class",
     .severity = Severity::error,
     .summary = "an adjuster class that is missing",
     .explanation = "With velox.adjuster.class.path a separate JVM runs the class "
                    "com.velox.orbit.launch.adjuster.Adjuster from that class path before the "
                    "launch. If it cannot, the launch ends.",
     .example = {.lines = "velox.adjuster.class.path=%kvf.file.dir%/gone.jar"},
     .remedy = {.note = "Name the archive that has the class, or remove the adjuster."},
     .check = adjusterMissing},
};

}  // namespace

std::span<const Rule> adjusterRules() {
  return rules;
}
