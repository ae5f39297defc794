#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <unistd.h>

#include "config/PropertiesText.h"
#include "config/Switches.h"
#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"
#include "kvf/commands/CheckTargets.h"
#include "kvf/commands/Launches.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/fix/Fixes.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/process/FileError.h"
#include "kvf/process/Interruption.h"
#include "kvf/report/FindingFormats.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"
#include "kvf/text/UnifiedDiff.h"

namespace fs = std::filesystem;

namespace {

struct CheckOptions {
  std::vector<std::string> files;
  std::vector<std::string> disabled;
  std::string stdinName = "-";
  std::string format = "text";
  std::string severity = "warning";
  std::string colour = "auto";
  std::string memory;
  std::string root;
  bool json = false;
  bool fix = false;
  bool diff = false;
  bool forScript = false;
  bool withJvm = false;
  bool deep = false;
  unsigned javaRelease = 0;
};

/// What the JVM says about the options; nothing when the launch has no JVM to ask.
std::optional<JvmTrial> trialOf(const Inspection& inspection) {
  const std::string library = inspection.valueOf(keys::javaLibrary);
  if (library.empty() || inspection.command() != switches::run) return std::nullopt;
  const std::string path = inspection.atApplication(library);
  if (::access(path.c_str(), R_OK) != 0) return std::nullopt;
  // A folder that a service manager will make does not exist yet.
  std::error_code error;
  const bool isThere = std::filesystem::is_directory(inspection.plan.directory, error);
  return tryJvm({.library = path,
                 .startClass = inspection.valueOf(keys::startClass),
                 .options = inspection.plan.options,
                 .environment = environmentOfLaunch(inspection),
                 .directory = isThere ? inspection.plan.directory : "/"});
}

/// So that nobody believes that all options were tried.
void tellWhatIsLeftOut(const Inspection& inspection) {
  if (!inspection.jvmTrial || inspection.jvmTrial->leftOut.empty()) return;
  std::string list;
  for (const std::string& option : inspection.jvmTrial->leftOut) {
    list += (list.empty() ? "" : ", ") + shown(option);
  }
  std::fprintf(stderr,
               "kvf: %s: the JVM was tried without the options that act outside of it: %s\n",
               printable(inspection.nameOf(inspection.mainFile())).c_str(), list.c_str());
}

/// As much of it as shows whether it is too long for a properties file; throws for one that is too
/// long when all of it is needed.
std::string standardInput(bool isAllNeeded) {
  std::string text(propertiesSizeLimit + 1, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), stdin));
  if (std::ferror(stdin) != 0) throw FileError("read", "standard input", errno);
  if (isAllNeeded && text.size() > propertiesSizeLimit)
    throw FileError("standard input has 1 MiB or more, and no properties file has: split it");
  return text;
}

/// One check of everything. The findings point into the inspections.
struct Checked {
  std::vector<Inspection> inspections;
  std::vector<std::string> complaints;  ///< about files that were not checked
  std::vector<Finding> findings;
};

/// The launches to check, with the given texts in place of those of files.
class Subject {
 public:
  Subject(const CheckOptions& options, const LauncherArguments& commandLine)
      : options_(options), commandLine_(commandLine) {
    if (!isFromStandardInput()) return;
    stdinPath_ = fs::weakly_canonical(fs::absolute(options.stdinName));
    texts_[stdinPath_] = standardInput(options.fix);
  }

  /// The file that standard input stands for; empty: it is not used.
  [[nodiscard]] const std::string& stdinPath() const { return stdinPath_; }
  [[nodiscard]] const std::string& stdinText() const { return texts_.at(stdinPath_); }

  [[nodiscard]] Checked check(const GivenTexts& changed) const {
    GivenTexts texts = changed;
    texts.insert(texts_.begin(), texts_.end());
    InspectedTargets inspected = inspect(texts);
    Checked checked = {std::move(inspected.inspections), std::move(inspected.complaints), {}};
    for (Inspection& inspection : checked.inspections) prepare(inspection);
    checked.findings =
        ::check(checked.inspections, {options_.disabled.begin(), options_.disabled.end()});
    return checked;
  }

  /// Keeps the texts that cannot be read again, such as those of pipes.
  void keepStreams(const std::vector<Inspection>& inspections) {
    for (const Inspection& inspection : inspections) {
      for (const SourceFile& file : inspection.run().files) {
        std::error_code error;
        const fs::path path = inspection.atLauncher(file.name);
        if (!file.unread && fs::is_other(path, error)) texts_.emplace(path, file.text);
      }
    }
  }

 private:
  [[nodiscard]] bool isFromStandardInput() const {
    return std::find(options_.files.begin(), options_.files.end(), "-") != options_.files.end();
  }

  [[nodiscard]] InspectedTargets inspect(const GivenTexts& texts) const {
    if (commandLine_.empty()) return inspectTargets(options_.files, options_.stdinName, texts);
    InspectedTargets typed;
    typed.inspections.push_back(inspectTyped(commandLine_, texts));
    return typed;
  }

  void prepare(Inspection& inspection) const {
    inspection.forScript = options_.forScript;
    inspection.deep = options_.deep;
    if (const auto memory = memorySize(options_.memory))
      inspection.surroundings.memory = MemoryBound{*memory, "--memory " + options_.memory};
    inspection.javaRelease = options_.javaRelease;
    if (options_.withJvm) inspection.jvmTrial = trialOf(inspection);
  }

  const CheckOptions& options_;
  const LauncherArguments& commandLine_;
  std::string stdinPath_;
  GivenTexts texts_;
};

/// Applies the fixes, until what they uncover is fixed, too.
Fixes applyFixes(Subject& subject, Checked& checked) {
  // Each round fixes something; more than a few mean a fix without effect.
  constexpr int mostRounds = 20;
  Fixes fixes;
  subject.keepStreams(checked.inspections);
  for (int round = 0; round < mostRounds && fixes.apply(checked.findings); ++round)
    checked = subject.check(fixes.texts());
  return fixes;
}

ExitStatus printDiff(const Fixes& fixes) {
  std::string text;
  for (const auto& [path, file] : fixes.files())
    text += unifiedDiff(file.name, file.before, file.after);
  const ExitStatus status = print(text);
  return status == success && !text.empty() ? negative : status;
}

/// Writes the files; what came from standard input goes to standard output.
ExitStatus writeFixes(const Fixes& fixes, const Subject& subject) {
  fixes.write(subject.stdinPath());
  for (const auto& [path, file] : fixes.files()) {
    std::fprintf(stderr, "kvf: %s: %s fixed\n", printable(file.name).c_str(),
                 countOf(file.fixes, "mistake").c_str());
  }
  if (subject.stdinPath().empty()) return success;
  const auto fixed = fixes.files().find(subject.stdinPath());
  return print(fixed == fixes.files().end() ? subject.stdinText() : fixed->second.after);
}

int report(const std::vector<Finding>& findings, const CheckOptions& options, std::FILE* stream) {
  const FindingFormat* format = findFindingFormat(options.json ? "json" : options.format);
  ReportOptions reportOptions;
  reportOptions.colour = wantsColour();
  if (!options.root.empty()) reportOptions.root = fs::canonical(options.root);
  const ExitStatus status = print(format->text(findings, reportOptions), stream);
  if (status != success) return status;
  const bool counts = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
    return finding.severity() == Severity::error || options.severity == nameOf(Severity::warning);
  });
  return counts ? negative : success;
}

/// Why these options cannot be used; empty: they can.
std::string complaintAbout(const CheckOptions& options, const LauncherArguments& commandLine) {
  std::vector<std::string_view> ids;
  for (const Rule* known : allRules()) ids.emplace_back(known->id);
  for (const std::string& id : options.disabled) {
    if (findRule(id) == nullptr)
      return concat({"there is no rule ", shown(id), didYouMean(nearestName(id, ids))});
  }
  if (findFindingFormat(options.format) == nullptr)
    return "there is no format " + shown(options.format);
  if (std::error_code error; !options.root.empty() && !fs::is_directory(options.root, error))
    return shown(options.root) + " is not a folder";
  if (options.fix && options.diff) return "give either --fix or --diff, not both";
  if (!options.memory.empty() && !memorySize(options.memory))
    return shown(options.memory) + " is not a size such as 512m";
  if (!commandLine.empty() && !options.files.empty())
    return "give either files or a command line, not both";
  if (commandLine.empty() && options.files.empty()) return "give a file, or -- and a command line";
  return {};
}

int runCheck(const CheckOptions& options, const LauncherArguments& commandLine) {
  const std::string complaint = complaintAbout(options, commandLine);
  if (!complaint.empty()) return complain(complaint);
  chooseColour(options.colour);
  Subject subject(options, commandLine);
  // A trial has files of its own.
  std::optional<InterruptionWatch> interruptions;
  if (options.withJvm) interruptions.emplace();
  Checked checked = subject.check({});
  for (const Inspection& inspection : checked.inspections) tellWhatIsLeftOut(inspection);
  const std::vector<std::string> complaints = checked.complaints;
  const auto withComplaints = [&](int status) {
    for (const std::string& text : complaints) status = complain(text);
    return status;
  };
  std::FILE* stream = stdout;
  if (options.diff) return withComplaints(printDiff(applyFixes(subject, checked)));
  if (options.fix) {
    const ExitStatus written = writeFixes(applyFixes(subject, checked), subject);
    if (written != success) return withComplaints(written);
    if (!subject.stdinPath().empty()) stream = stderr;
  }
  return withComplaints(report(checked.findings, options, stream));
}

}  // namespace

RunSubcommand declareCheck(CLI::App& command) {
  const auto options = std::make_shared<CheckOptions>();
  command.add_option("FILE", options->files,
                     "Properties files, folders, systemd units, - for standard input");
  command
      .add_option("--severity", options->severity,
                  "Lowest severity that counts for the status: error or warning")
      ->type_name("LEVEL")
      ->check(CLI::IsMember({"error", "warning"}));
  command.add_option("--stdin-name", options->stdinName, "The file that standard input stands for")
      ->type_name("FILE");
  command.add_option("--memory", options->memory, "The memory that the launch will have")
      ->type_name("SIZE");
  command.add_option("--color", options->colour, "auto, always or never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  std::string formats;
  for (const FindingFormat& format : findingFormats())
    formats += concat({formats.empty() ? "" : ", ", format.name});
  command.add_option("--format", options->format, formats)->type_name("FORMAT");
  command.add_option("--root", options->root, "Name files below this folder relative to it")
      ->type_name("FOLDER");
  command.add_flag("--fix", options->fix, "Fix what leaves nothing to decide");
  command.add_flag("--diff", options->diff, "Print what --fix would change, and write nothing");
  command.add_flag("--json", options->json, "The same as --format json");
  command.add_flag("--script", options->forScript,
                   "Also report what a generated script cannot carry");
  command.add_flag("--deep", options->deep, "Also read the files that an archive was made from");
  command.add_flag("--jvm", options->withJvm, "Start the configured JVM with the options");
  command
      .add_option("--java", options->javaRelease,
                  "Also report what this release of Java does not accept")
      ->type_name("N")
      ->check(CLI::Range(oldestRelease, newestRelease));
  command.add_option("--disable", options->disabled, "Disable a rule")->type_name("RULE");
  return
      [options](const LauncherArguments& commandLine) { return runCheck(*options, commandLine); };
}
