#include <cstddef>
#include <string>
#include <string_view>

#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"
#include "kvf/jvm/JavaProgramOptions.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// What the configured JVM says when it is tried.

namespace {

Position positionOf(const Inspection& inspection, const JvmComplaint& complaint) {
  return complaint.option.empty() ? inspection.positionOf(keys::javaLibrary)
                                  : positionOfOption(inspection, complaint.option);
}

std::string saysOf(const JvmComplaint& complaint) {
  return complaint.option.empty()
             ? concat({": ", shown(complaint.text)})
             : concat({" ", shown(complaint.option), ": ", shown(complaint.text)});
}

template <class Visit>
void forEachComplaint(const Inspection& inspection, JvmComplaint::Kind kind, Visit&& visit) {
  if (!inspection.jvmTrial) return;
  for (const JvmComplaint& complaint : inspection.jvmTrial->complaints) {
    if (complaint.kind == kind) visit(complaint, positionOf(inspection, complaint));
  }
}

/// True for an option that the program java takes, or translates for a JVM.
bool isTakenByProgram(std::string_view option) {
  // Few JVMs know -Xoss.
  const std::size_t sizeName = option.starts_with("-oss") ? 0 : lengthOfOldSizeName(option);
  return isOfJavaProgram(option) || option == "-server" || option == "-client" ||
         (sizeName > 0 && memorySize(option.substr(sizeName)));
}

void jvmIgnores(const Inspection& inspection, Report& report) {
  using Kind = JvmComplaint::Kind;
  forEachComplaint(inspection, Kind::unknown, [&](const JvmComplaint& found, const Position& at) {
    report(at,
           concat({"the JVM does not know ", shown(found.option), "; --run ignores it silently, ",
                   isTakenByProgram(found.option) ? "only --cmdlineJava takes it: remove it"
                                                  : "--cmdlineJava does not start: correct or "
                                                    "remove it"}));
  });
  forEachComplaint(inspection, Kind::ignored, [&](const JvmComplaint& found, const Position& at) {
    report(at, concat({"the JVM starts without", saysOf(found)}));
  });
}

void jvmRefuses(const Inspection& inspection, Report& report) {
  forEachComplaint(
      inspection, JvmComplaint::Kind::refused, [&](const JvmComplaint& found, const Position& at) {
        report.fatal(
            at, concat({"the JVM does not start with ", found.option.empty() ? "these options" : "",
                        saysOf(found).substr(found.option.empty() ? 0 : 1)}));
      });
}

void jvmDeprecates(const Inspection& inspection, Report& report) {
  forEachComplaint(inspection, JvmComplaint::Kind::deprecated,
                   [&](const JvmComplaint& found, const Position& at) {
                     report(at, concat({"the JVM says of", saysOf(found)}));
                   });
}

constexpr Rule rules[] = {
    {.id = "jvm-ignores",
     .severity = Severity::warning,
     .summary = "an option that the JVM does not know, or ignores",
     .explanation = "The launcher lets the JVM ignore what it does not know. What a JVM ignores on "
                    "its own, such as an option for a missing module or package, it reports in a "
                    "line that gets lost among the application's. Checked with --jvm, which starts "
                    "the JVM, and again for each such option.",
     .example = {.lines = "java.extended.properties=-XX:+UseFoo",
                 .command = "kvf check --jvm acme.kvf"},
     .remedy = {.lines = "java.extended.properties=-XX:+UseSerialGC",
                .command = "kvf check --jvm acme.kvf"},
     .check = jvmIgnores},
    {.id = "jvm-refuses",
     .severity = Severity::error,
     .summary = "options that the JVM refuses",
     .explanation = "The JVM prints its own message and the launch ends. Checked with --jvm; the "
                    "option reported is the one without which the JVM starts.",
     .example = {.lines = "java.extended.properties=-XX:ReservedCodeCacheSize=1k",
                 .command = "kvf check --jvm acme.kvf"},
     .remedy = {.lines = "java.extended.properties=-XX:ReservedCodeCacheSize=64m",
                .command = "kvf check --jvm acme.kvf"},
     .check = jvmRefuses},
    {.id = "jvm-deprecates",
     .severity = Severity::warning,
     .summary = "an option that the JVM says will be removed",
     .explanation =
         "The JVM accepts it and prints a line that a later release will not. Checked with --jvm.",
     .example = {.note = "With Java 10 or newer.",
                 .lines = "java.extended.properties=-XX:MaxRAMFraction=2",
                 .command = "kvf check --jvm acme.kvf"},
     .remedy = {.lines = "java.extended.properties=-XX:MaxRAMPercentage=50.0",
                .command = "kvf check --jvm acme.kvf"},
     .check = jvmDeprecates},
};

}  // namespace

std::span<const Rule> jvmRules() {
  return rules;
}
