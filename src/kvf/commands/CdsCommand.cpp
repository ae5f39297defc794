#include <CLI/CLI.hpp>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/cds/ClassDataEntry.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/launch/Assembler.h"
#include "kvf/process/ProgramRun.h"
#include "kvf/text/FileText.h"
#include "kvf/text/PropertiesText.h"
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

/// A folder for files of no further use.
class ScratchFolder {
 public:
  ScratchFolder() : path_(fs::temp_directory_path() / "kvf-XXXXXX") {
    std::string pattern = path_;
    path_ = ::mkdtemp(pattern.data()) == nullptr ? fs::path() : fs::path(pattern);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code error;
    if (!path_.empty()) fs::remove_all(path_, error);
  }
  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

/// Replaces the file in one step. It keeps its permissions.
void replaceFile(const fs::path& file, const std::string& text) {
  const fs::path written = file.string() + ".new";
  std::ofstream stream(written, std::ios::binary);
  stream << text;
  stream.close();
  if (!stream) throw fs::filesystem_error("cannot write", written, std::error_code());
  fs::permissions(written, fs::status(file).permissions());
  fs::rename(written, file);
}

class ArchiveMaker {
 public:
  ArchiveMaker(const CdsOptions& options, const std::vector<std::string>& command)
      : options_(options),
        file_(fs::canonical(options.file)),
        inspection_(
            inspectCommandLine({"wrapper", switches::run, switches::propFile, options.file})),
        command_(command) {
    archive_ = file_;
    archive_.replace_extension(".jsa");
    fresh_ = archive_.string() + ".new";
    if (command_.empty())
      command_ = {options.launcher, switches::run, switches::propFile, options.file};
  }
  ArchiveMaker(const ArchiveMaker&) = delete;
  ArchiveMaker& operator=(const ArchiveMaker&) = delete;
  ~ArchiveMaker() {
    std::error_code error;
    fs::remove(fresh_, error);
  }

  int make() {
    const ClassDataSubject subject = classDataSubject(inspection_);
    if (!subject.launch)
      return complain(options_.file + ": " + subject.complaint + "; see kvf check", notFoundOut);
    launch_ = *subject.launch;
    const std::vector<std::string> obstacles = classDataObstacles(launch_);
    if (!obstacles.empty()) return tellObstacles(obstacles);
    if (const int status = runOnce(); status != 0) return status;

    const ClassDataAcceptance acceptance = acceptanceOf(fresh_, launch_, scratch_.path());
    if (!acceptance.accepted)
      return complain("the JVM wrote an archive and does not use it: " + acceptance.complaint,
                      cannotServe);
    fs::rename(fresh_, archive_);
    std::cout << printable(archive_.native()) << ": " << fs::file_size(archive_) / 1024
              << " KiB, accepted by Java " << launch_.jvm.version << '\n';
    return tellEntry();
  }

 private:
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
    std::error_code error;
    fs::remove(fresh_, error);

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
    if (fs::exists(fresh_, error)) return 0;
    const std::string complaint = complaintInLog(textOfFile(log));
    return complain("the JVM wrote no archive" +
                        (complaint.empty() ? ": it did not end in order, or was none of this Java"
                                           : ": " + complaint),
                    cannotServe);
  }

  int tellEntry() {
    const std::string text = textOfFile(file_);
    const ClassDataEntry entry =
        withClassDataArchive(text, archive_.filename().native(), inheritedOptions());
    if (!options_.write || entry.text == text) {
      std::cout << (entry.text == text ? "the file uses it already:\n" : "")
                << printable(entry.line) << '\n';
      return 0;
    }
    replaceFile(file_, entry.text);
    std::cout << "changed " << printable(file_.native()) << ":\n" << printable(entry.line) << '\n';
    return 0;
  }

  /// The options that the file has from elsewhere, as it would refer to them.
  [[nodiscard]] std::optional<std::string> inheritedOptions() const {
    const Definition* definition = inspection_.definitionOf(keys::extendedProperties);
    if (definition == nullptr) return std::nullopt;
    // global.kvf is read afterwards, so a reference would not find it.
    if (definition->global) return spelledInPropertiesFile(definition->value);
    return concat({"%", keys::extendedProperties, "%"});
  }

  const CdsOptions& options_;
  fs::path file_;
  Inspection inspection_;
  std::vector<std::string> command_;
  fs::path archive_;
  fs::path fresh_;  ///< the archive until it has been accepted
  ClassDataLaunch launch_;
  ScratchFolder scratch_;
};

int makeArchive(const CdsOptions& options, const std::vector<std::string>& command) {
  try {
    return ArchiveMaker(options, command).make();
  } catch (const fs::filesystem_error& error) {
    return complain(error.what(), notFoundOut);
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
