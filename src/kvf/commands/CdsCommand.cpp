#include <CLI/CLI.hpp>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataEntry.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/launch/Inspector.h"
#include "kvf/process/Files.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/ProgramRun.h"
#include "kvf/process/TemporaryFolder.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr int cannotServe = negative;
constexpr int notFoundOut = noAnswer;
constexpr char optionsVariable[] = "_JAVA_OPTIONS";

struct CdsOptions {
  std::string file;
  std::optional<unsigned> runFor;
  bool write = false;
  fs::path launcher;
};

int complain(const std::string& text, int status) {
  ::complain(text);
  return status;
}

/// The launch that the file describes, as the launcher would run it.
Inspection inspectRun(const std::string& file, const GivenTexts& given = {}) {
  return inspectCommandLine({"wrapper", switches::run, switches::propFile, file}, given);
}

/// Keys that have other values, but for the one of the JVM's options.
std::vector<std::string> changedKeys(const SimpleProperties& before,
                                     const SimpleProperties& after) {
  std::vector<std::string> keys;
  const auto addMissing = [&](const SimpleProperties& from, const SimpleProperties& in) {
    from.forEach([&](const WString& key, const WString& value) {
      WString other;
      if (key == keys::extendedProperties || (in.get(key, other) && other == value)) return;
      keys.push_back(toString(key));
    });
  };
  addMissing(before, after);
  addMissing(after, before);
  return keys;
}

class ArchiveMaker {
 public:
  ArchiveMaker(const CdsOptions& options, const std::vector<std::string>& command)
      : options_(options),
        file_(fs::canonical(options.file)),
        inspection_(inspectRun(options.file)),
        command_(command),
        archive_(fs::weakly_canonical(fs::path(file_).replace_extension(".jsa"))) {
    if (command_.empty())
      command_ = {options.launcher, switches::run, switches::propFile, options.file};
  }

  int make() {
    const ClassDataSubject subject = classDataSubject(inspection_);
    if (!subject.launch)
      return complain(options_.file + ": " + subject.complaint + "; see kvf check", notFoundOut);
    launch_ = *subject.launch;
    const std::vector<std::string> obstacles = classDataWritingObstacles(launch_);
    if (!obstacles.empty()) return tellObstacles(obstacles);
    // Before the application runs, which may take long.
    if (options_.write) static_cast<void>(FileReplacement(file_));
    checkArchiveInPlace();
    freshFolder_.emplace(archive_.parent_path(), ".kvf-");
    freshFolder_->giveToOwnerOfParent();
    fresh_ = freshFolder_->path() / archive_.filename();
    if (const int status = runOnce(); status != 0) return status;

    const ClassDataAcceptance acceptance = acceptanceOf(fresh_, launch_, scratch_.path());
    if (!acceptance.accepted)
      return complain("the JVM wrote an archive and does not use it: " + acceptance.complaint,
                      cannotServe);
    installArchive();
    std::cout << printable(archive_.native()) << ": " << fs::file_size(archive_) / 1024
              << " KiB, accepted by Java " << launch_.jvm.version << '\n';
    return tellEntry();
  }

 private:
  /// Another file of the user's may have its name.
  void checkArchiveInPlace() const {
    if (!fs::exists(archive_)) return;
    if (!parseClassDataArchive(textOfFile(archive_, 4096)))
      throw FileError(concat({archive_.native(), " is there and no class-data archive"}));
  }

  void installArchive() const {
    InterruptionWatch::look();
    if (fs::exists(archive_)) takeAttributes(fresh_, archive_);
    fs::rename(fresh_, archive_);
  }

  int tellObstacles(const std::vector<std::string>& obstacles) {
    for (const std::string& obstacle : obstacles) complain(obstacle, cannotServe);
    const std::string archives = classPathOfArchives(launch_.classPath, file_.parent_path());
    std::string current;
    for (const std::string& element : launch_.classPath)
      current += (current.empty() ? "" : ":") + element;
    if (archives != current) {
      std::cerr << "Name the archives themselves, instead of "
                << (inspection_.plan.classPathKey == nullptr ? "CLASSPATH"
                                                             : inspection_.plan.classPathKey)
                << ":\n"
                << keys::classPath << '=' << printable(archives) << '\n';
    }
    return cannotServe;
  }

  /// Runs the application; 0 when it has left an archive.
  int runOnce() {
    const fs::path log = scratch_.path() / "write.log";
    const std::optional<std::string> options = archiveWritingOptions(fresh_, log);
    if (!options) return complain("the name of the file has a quote or a line end", cannotServe);
    ProgramRun run;
    run.arguments = command_;
    const char* already = std::getenv(optionsVariable);
    run.environment[optionsVariable] = concat({already == nullptr ? "" : already, " ", *options});
    if (options_.runFor) run.limit = std::chrono::seconds(*options_.runFor);
    std::cout.flush();
    const ProgramEnd end = runProgram(run);
    if (end.error != 0)
      return complain(command_[0] + " cannot be started: " + std::strerror(end.error), notFoundOut);
    if (end.killed)
      return complain(
          "the application did not end within a minute and was killed; it has to end by itself",
          notFoundOut);
    if (end.status != 0 && !end.stopped)
      complain("the application ended with status " + std::to_string(end.status), 0);
    if (std::error_code error; fs::exists(fresh_, error)) return 0;
    const std::string complaint = complaintInLog(textOfFile(log));
    return complain("the JVM wrote no archive" +
                        (complaint.empty() ? ": it did not end in order, or was none of this Java"
                                           : ": " + complaint),
                    cannotServe);
  }

  int tellEntry() {
    // As it is now: the application may have run for long.
    const std::string text = readWhole(file_);
    const ClassDataEntry entry = withClassDataArchive(
        text, fs::path(file_).replace_extension(".jsa").filename().native(), inheritedOptions());
    const bool isThere = entry.text == text;
    if (!isThere) {
      const std::string complaint = whyWithoutEffect(text, entry);
      if (!complaint.empty()) {
        complain(concat({file_.native(), " is left as it is: with this line ", complaint}), 0);
        std::cout << printable(entry.line) << '\n';
        return options_.write ? cannotServe : 0;
      }
    }
    if (!isThere && options_.write) {
      const FileReplacement replacement(file_);
      if (replacement.text() != text)
        throw FileError(concat({file_.native(), " is being changed: it is left as it is"}));
      replacement.replace(entry.text);
    }
    const std::string change = concat({"changed ", printable(file_.native()), ":\n"});
    std::cout << (isThere          ? "the file uses it already:\n"
                  : options_.write ? change
                                   : "")
              << printable(entry.line) << '\n';
    return 0;
  }

  /// Why the entry would not do, or nothing.
  [[nodiscard]] std::string whyWithoutEffect(const std::string& text,
                                             const ClassDataEntry& entry) const {
    const Inspection before = inspectRun(options_.file, {{file_, text}});
    const Inspection after = inspectRun(options_.file, {{file_, entry.text}});
    if (!after.run().failures.empty())
      return concat({"a launch would end with ", after.run().failures[0].message});
    const std::vector<std::string> used = sharedArchiveFiles(after.plan.options);
    std::error_code error;
    if (used.size() != 1 || !fs::equivalent(after.atApplication(used[0]), archive_, error)) {
      const std::string place = after.nameOf(after.positionOf(keys::extendedProperties));
      return concat({"in it a launch would not use the archive; ", keys::extendedProperties,
                     " has its value from ", place});
    }
    const std::vector<std::string> changed = changedKeys(before.run().merged, after.run().merged);
    if (!changed.empty()) return concat({"it would have another value of ", changed[0]});
    return {};
  }

  /// The options that the file has from elsewhere, as it would refer to them.
  [[nodiscard]] std::optional<std::string> inheritedOptions() const {
    const Entry* entry = inspection_.entryOf(keys::extendedProperties);
    if (entry == nullptr) return std::nullopt;
    // global.kvf is read afterwards, so a reference would not find it.
    if (entry->global) return spelledInPropertiesFile(entry->value);
    return concat({"%", keys::extendedProperties, "%"});
  }

  const CdsOptions& options_;
  fs::path file_;
  Inspection inspection_;
  std::vector<std::string> command_;
  fs::path archive_;  ///< where it is to be, links followed
  std::optional<TemporaryFolder> freshFolder_;
  fs::path fresh_;  ///< the archive until it has been accepted
  ClassDataLaunch launch_;
  TemporaryFolder scratch_;
};

int makeArchive(const CdsOptions& options, const std::vector<std::string>& command) {
  const InterruptionWatch interruptions;
  try {
    return ArchiveMaker(options, command).make();
  } catch (const fs::filesystem_error& error) {
    throw FileError("use", error.path1(), error.code().value());
  }
}

}  // namespace

RunSubcommand declareCds(CLI::App& command) {
  const auto options = std::make_shared<CdsOptions>();
  std::error_code error;
  options->launcher = fs::read_symlink("/proc/self/exe", error).parent_path() / "wrapper";
  command.add_option("FILE", options->file, "The properties file")
      ->required()
      ->check(CLI::ExistingFile);
  command.add_option("--run-for", options->runFor, "End the application after this time")
      ->type_name("SECONDS");
  command.add_flag("--write", options->write, "Add the line to the file");
  command.add_option("--wrapper", options->launcher, "The launcher")->type_name("FILE");
  return [options](const LauncherArguments& commandLine) {
    return makeArchive(*options, commandLine);
  };
}
