#include <algorithm>
#include <cstddef>
#include <string_view>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/rules/Rules.h"
#include "kvf/text/Text.h"

namespace {

/// The argument that names the main file; without one, the program.
Position argumentOfMainFile(const Inspection& inspection) {
  Position at = {Position::commandLine, 0};
  const auto& arguments = inspection.outer.arguments;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const char* name = arguments[i].switchName;
    if (name == nullptr || std::string_view(name) != switches::propFile) continue;
    at.line = std::min(i + 1, arguments.size() - 1);
  }
  return at;
}

void mainFileMissing(const Inspection& inspection, const Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::mainFile)) {
    report.end(
        argumentOfMainFile(inspection),
        concat({"the launch ends with ", shown(failure.message),
                ": name the file with --propFile FILE; without, it is the program's name with ",
                ".kvf in the working directory or along PATH"}),
        failure.message);
  }
}

void shortInclude(const Inspection& inspection, const Report& report) {
  for (const Definition& definition : inspection.run().definitions) {
    if (!definition.key.starts_with(keys::includePrefixAtEndOfText) ||
        definition.key.starts_with(keys::includePrefix)) {
      continue;
    }
    report(definition.at,
           definition.isInclude
               ? concat({shown(definition.key), " includes the file only because this is the last ",
                         "line and has no line end: write velox.include.kvf"})
               : concat({shown(definition.key),
                         " includes nothing; it is an ordinary key: write velox.include.kvf"}));
  }
}

void includeFailures(const Inspection& inspection, const Report& report, bool deep,
                     std::string_view advice) {
  for (const Failure& failure : inspection.failures(Failure::Stage::include)) {
    const bool isDeep = failure.why != FileFailure::notOpened;
    if (isDeep != deep) continue;
    report.end(failure.at,
               concat({"the launch ends here with ", shown(failure.message), ": ", advice}),
               failure.message);
  }
}

void missingInclude(const Inspection& inspection, const Report& report) {
  includeFailures(inspection, report, false,
                  "name a file that is there; a relative path counts from the working directory, "
                  "%kvf.file.dir%/ from the main file");
}

void includeDepth(const Inspection& inspection, const Report& report) {
  includeFailures(inspection, report, true, "include fewer files");
  if (!inspection.run().tooMuch) return;
  report(
      inspection.mainFile(),
      "the includes bring more than 32 MiB of text, of which the rest was not looked at: include "
      "fewer files");
}

void includeCycle(const Inspection& inspection, const Report& report) {
  for (const Position& at : inspection.run().includeCycles) {
    report.end(at,
               "this include leads back to a file that is being read, which goes on until the "
               "launch ends: remove it");
  }
}

constexpr Rule rules[] = {
    {"missing-file", Severity::error, "a properties file that cannot be opened",
     "Without --propFile the file goes by the program's name, in the working directory and then "
     "along PATH; a file that --propFile names is not searched.",
     "wrapper --propFile gone.kvf", "wrapper --propFile /opt/acme/app.kvf", mainFileMissing},
    {"short-include", Severity::error, "velox.include where velox.include.kvf is meant",
     "The shorter name includes a file only in a last line without a line end. Anywhere else it is "
     "a key that nothing reads.",
     "velox.include=jvm.kvf", "velox.include.kvf=jvm.kvf", shortInclude},
    {"missing-include", Severity::error, "an include that cannot be opened",
     "The launch ends with \"Failed to open properties file\". A relative path counts from the "
     "working directory, not from the including file.",
     "velox.include.kvf=gone.kvf", "velox.include.kvf=%kvf.file.dir%/jvm.kvf", missingInclude},
    {"include-depth", Severity::error, "includes beyond the launcher's limits",
     "Nesting, the number of files and their size are limited; beyond, the launch ends.",
     "a.kvf includes b.kvf, which includes c.kvf, 1,025 levels deep.", "Include fewer files.",
     includeDepth},
    {"include-cycle", Severity::error, "an include that leads back to its own file",
     "The launcher reads on until its limits end the launch.",
     "velox.include.kvf=app.kvf in app.kvf", "Remove the include.", includeCycle},
};

}  // namespace

std::span<const Rule> includeRules() {
  return rules;
}
