#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string_view>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/rules/EntryText.h"
#include "kvf/rules/Rule.h"
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

void mainFileMissing(const Inspection& inspection, Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::mainFile)) {
    report.fatal(argumentOfMainFile(inspection),
                 concat({"the launch ends with ", shown(failure.message),
                         ": name the file with --propFile FILE; without it, the file is the "
                         "program's name with ",
                         ".kvf in the working directory or along PATH"}),
                 failure.message);
  }
}

void shortInclude(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    if (!entry.key.starts_with(keys::includePrefixAtEndOfText) ||
        entry.key.starts_with(keys::includePrefix)) {
      continue;
    }
    const EntryText text(inspection, entry);
    const std::string key = shown(entry.key);
    Finding& finding =
        entry.isInclude
            ? report.harmless(text.placeOfKey(),
                              concat({key, " includes the file only because this is the last line ",
                                      "and has no line end: write ", keys::includePrefix}))
            : report(text.placeOfKey(),
                     concat({key, " includes nothing; it is an ordinary key: write ",
                             keys::includePrefix}));
    std::error_code error;
    const bool isThere =
        std::filesystem::is_regular_file(inspection.atLauncher(entry.value), error);
    if (isThere && entry.key == keys::includePrefixAtEndOfText && text.hasPlainKey())
      finding.fix = {text.replaceKey(keys::includePrefix)};
  }
}

/// An include that is found from here because the main file is here.
void relativeInclude(const Inspection& inspection, Report& report) {
  if (!inspection.hasMainFile()) return;
  const std::filesystem::path folder =
      std::filesystem::path(inspection.pathOf(inspection.mainFile())).parent_path();
  for (const Entry& entry : inspection.run().entries) {
    const std::string& written = entry.written;
    if (!entry.isInclude || written.starts_with('/') || written.starts_with('%')) continue;
    std::error_code error;
    if (!std::filesystem::exists(folder / entry.value, error)) continue;
    report(entry.at, concat({shown(written), " is looked for in the working directory of the ",
                             "start, not beside this file: write %", keys::fileDirectory, "%/",
                             printable(written)}));
  }
}

void includeFailures(const Inspection& inspection, Report& report, bool deep,
                     std::string_view advice) {
  for (const Failure& failure : inspection.failures(Failure::Stage::include)) {
    const bool isDeep = failure.why != FileFailure::notOpened;
    if (isDeep != deep) continue;
    report.fatal(failure.at,
                 concat({"the launch ends here with ", shown(failure.message), ": ", advice}),
                 failure.message);
  }
}

void missingInclude(const Inspection& inspection, Report& report) {
  includeFailures(inspection, report, false,
                  "name a file that is there; a relative path is relative to the working "
                  "directory; %kvf.file.dir%/ is the folder of the main file");
}

void includeDepth(const Inspection& inspection, Report& report) {
  includeFailures(inspection, report, true, "include fewer files");
  if (!inspection.run().tooMuch) return;
  report.harmless(
      inspection.mainFile(),
      "the includes add up to more than 32 MiB of text, and the rest was not read: include fewer "
      "files");
}

void includeCycle(const Inspection& inspection, Report& report) {
  for (const Position& at : inspection.run().includeCycles) {
    report.fatal(at,
                 "this include leads back to a file that is being read, and the launcher reads on "
                 "until its limits end the launch: remove it");
  }
}

constexpr Rule rules[] = {
    {.id = "missing-file",
     .severity = Severity::error,
     .summary = "a properties file that cannot be opened",
     .explanation =
         "Without --propFile the file has the program's name and is looked for in the working "
         "directory and then along PATH; a file that --propFile names is not searched for.",
     .example = {.command = "kvf check -- wrapper --propFile gone.kvf"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = mainFileMissing},
    {.id = "short-include",
     .severity = Severity::error,
     .summary = "velox.include where velox.include.kvf is meant",
     .explanation = "The shorter name includes a file only in a last line without a line end. "
                    "Anywhere else it is a key that nothing reads.",
     .example = {.lines = "velox.include=%kvf.file.dir%/jvm.kvf\njava.property.a=b",
                 .files = {{.path = "jvm.kvf", .content = "java.heap.size.max=1g\n"}}},
     .remedy = {.lines = "velox.include.kvf=%kvf.file.dir%/jvm.kvf\njava.property.a=b",
                .files = {{.path = "jvm.kvf", .content = "java.heap.size.max=1g\n"}}},
     .check = shortInclude},
    {.id = "missing-include",
     .severity = Severity::error,
     .summary = "an include that cannot be opened",
     .explanation = "The launch ends with \"Failed to open properties file\". A relative path is "
                    "relative to the working directory, not to the including file.",
     .example = {.lines = "velox.include.kvf=%kvf.file.dir%/gone.kvf"},
     .remedy = {.lines = "velox.include.kvf=%kvf.file.dir%/jvm.kvf",
                .files = {{.path = "jvm.kvf", .content = "java.heap.size.max=1g\n"}}},
     .check = missingInclude},
    {.id = "relative-include",
     .severity = Severity::warning,
     .summary = "an include that is relative to the working directory",
     .explanation =
         "A relative path is found only when the launcher is started from the right folder.",
     .example = {.lines = "velox.include.kvf=jvm.kvf",
                 .files = {{.path = "jvm.kvf", .content = "java.heap.size.max=1g\n"}}},
     .remedy = {.lines = "velox.include.kvf=%kvf.file.dir%/jvm.kvf",
                .files = {{.path = "jvm.kvf", .content = "java.heap.size.max=1g\n"}}},
     .check = relativeInclude},
    {.id = "include-depth",
     .severity = Severity::error,
     .summary = "includes beyond the launcher's limits",
     .explanation = "Nesting, the number of files and their size are limited; beyond these limits "
                    "the launch ends.",
     .example = {.note = "hundred.kvf includes ten.kvf 100 times, and that one.kvf 99 times.",
                 .lines = "velox.include.kvf=%kvf.file.dir%/hundred.kvf",
                 .files = {{.path = "hundred.kvf",
                            .content = "velox.include.kvf=%kvf.file.dir%/ten.kvf\n",
                            .times = 100},
                           {.path = "ten.kvf",
                            .content = "velox.include.kvf=%kvf.file.dir%/one.kvf\n",
                            .times = 99},
                           {.path = "one.kvf", .content = "# Nothing.\n"}}},
     .remedy = {.note = "Include fewer files."},
     .check = includeDepth},
    {.id = "include-cycle",
     .severity = Severity::error,
     .summary = "an include that leads back to its own file",
     .explanation = "The launcher reads on until its limits end the launch.",
     .example = {.lines = "velox.include.kvf=%kvf.file.dir%/acme.kvf"},
     .remedy = {.note = "Remove the include."},
     .check = includeCycle},
};

}  // namespace

std::span<const Rule> includeRules() {
  return rules;
}
