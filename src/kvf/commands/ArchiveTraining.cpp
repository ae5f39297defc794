#include "kvf/commands/ArchiveTraining.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataEntry.h"
#include "kvf/cds/StaleCodeTrial.h"
#include "kvf/commands/Output.h"
#include "kvf/jvm/OptionVariables.h"
#include "kvf/launch/Inspector.h"
#include "kvf/process/FileAttributes.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileMove.h"
#include "kvf/process/FileReading.h"
#include "kvf/process/NewFile.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned fileMode = 0644;
constexpr unsigned privateMode = 0600;

bool hasArchiveOption(const Inspection& inspection) {
  return std::any_of(inspection.plan.options.begin(), inspection.plan.options.end(),
                     isArchiveOption);
}

}  // namespace

Inspection inspectRun(const std::string& file, const std::string* text) {
  GivenTexts given;
  if (text != nullptr) given[fs::canonical(file)] = *text;
  return inspectCommandLine({"wrapper", switches::run, switches::propFile, file}, given);
}

int statusOfFailure(const std::string& failure) {
  return failure.ends_with(archiveNotStored) ? noAnswer : negative;
}

ArchiveTraining::PlainFile::PlainFile(fs::path file, std::string_view text)
    : file_(std::move(file)) {
  writeNewFile(file_, text, privateMode);
  isThere_ = true;
}

void ArchiveTraining::PlainFile::takeBack() noexcept {
  if (std::exchange(isThere_, false)) removeFile(file_.native());
}

ArchiveTraining::ArchiveTraining(const CdsOptions& options, const fs::path& file,
                                 const Inspection& inspection, ClassDataLaunch launch,
                                 TrainingRun run)
    : file_(file),
      launch_(std::move(launch)),
      run_(std::move(run)),
      command_(run_.command),
      fresh_(file.parent_path(), ".kvf-") {
  fresh_.giveToOwnerOfParent();
  const bool isCommand = !command_.empty();
  if (!isCommand) command_ = {options.launcher, switches::run, switches::propFile, options.file};
  if (!hasArchiveOption(inspection)) return;
  if (isCommand) {
    // An empty name cancels the archive that the file names; nothing cancels an AOT cache.
    if (aheadOfTimeCache(inspection.plan.options).empty()) {
      resetting_ = {"-XX:SharedArchiveFile="};
      return;
    }
    throw FileError(concat({file_.native(),
                            " uses an AOT cache, and with one a JVM records nothing: remove its "
                            "option while the command runs"}));
  }
  const std::string text = withoutClassDataArchive(readWhole(file_));
  const Inspection without = inspectRun(options.file, &text);
  if (hasArchiveOption(without)) {
    throw FileError(concat({"the option of an archive is from ",
                            without.nameOf(without.positionOf(keys::extendedProperties)),
                            ": remove it there, as with it a JVM records nothing"}));
  }
  // Beside the file, so that paths relative to its folder stay the same.
  const fs::path path = fresh_.path().native() + ".kvf";
  plain_.emplace(path, text);
  takeAttributes(path, file_);
  command_.back() = path;
}

std::optional<ProgramRun> ArchiveTraining::runWith(const std::vector<std::string>& options) const {
  const std::optional<std::string> words = asWords(options);
  if (!words) {
    complain("the name of the file has a quote or a line end");
    return std::nullopt;
  }
  ProgramRun run;
  run.arguments = command_;
  run.until = run_.until;
  if (run_.runFor) run.limit = std::chrono::seconds(*run_.runFor);
  if (words->empty()) return run;
  const char* already = std::getenv(optionvariables::last);
  run.environment[optionvariables::last] =
      already == nullptr ? *words : concat({already, " ", *words});
  return run;
}

std::optional<TrainedArchive> ArchiveTraining::train(const ArchiveKind& kind,
                                                     const fs::path& record,
                                                     const std::vector<std::string>& further) {
  TrainedArchive trained;
  trained.kind = &kind;
  const fs::path name = fresh_.path() / std::to_string(trained_++);
  trained.files = {name.native() + ".record", name.native() + kind.extension};
  ClassDataLaunch launch = launch_;
  launch.options.insert(launch.options.end(), further.begin(), further.end());
  if (record.empty()) {
    status_ = runOnce(kind, trained.files, further);
    if (status_ != 0) return std::nullopt;
  } else {
    copyToNewFile(record, trained.files.record, fileMode);
  }
  status_ = negative;
  const std::string failure = makeArchive(kind, launch, trained.files, scratch_.path());
  if (!failure.empty()) {
    status_ = complainOfMaking(failure);
    return std::nullopt;
  }
  const ClassDataAcceptance acceptance =
      acceptanceOf(kind, trained.files.archive, launch, scratch_.path());
  if (!acceptance.accepted) {
    fail(concat({"the JVM wrote an archive and does not use it: ", acceptance.complaint}),
         negative);
    return std::nullopt;
  }
  status_ = success;
  return trained;
}

int ArchiveTraining::runOnce(const ArchiveKind& kind, const ArchiveFiles& files,
                             const std::vector<std::string>& further) {
  const fs::path log = scratch_.path() / "write.log";
  std::vector<std::string> options = resetting_;
  const std::vector<std::string> recording = recordingOptions(kind, files);
  for (const std::vector<std::string>* more : {&further, &recording})
    options.insert(options.end(), more->begin(), more->end());
  options.emplace_back(kind.quietOption);
  options.push_back(concat({"-Xlog:", kind.logTags, ":file=", log.native()}));
  const std::optional<ProgramRun> run = runWith(options);
  if (!run) return negative;
  std::fflush(stdout);
  const ProgramEnd end = runProgram(*run);
  if (end.error != 0)
    return fail(command_[0] + " cannot be started: " + std::strerror(end.error), noAnswer);
  if (end.killed) {
    return fail(
        "the application did not end within a minute and was killed; it has to end by itself",
        noAnswer);
  }
  if (!run_.until.empty() && !end.reached)
    return fail("the application ended without printing " + shown(run_.until), noAnswer);
  const std::string complaint = complaintInLog(textOfFile(log));
  std::error_code error;
  const bool isThere =
      fs::exists(kind.making(launch_.jvm.release).empty() ? files.archive : files.record, error);
  // Even with a status other than 0 the application may have left a record.
  if (end.status != 0 && !end.stopped && (isThere || complaint.empty()))
    complain("the application ended with status " + std::to_string(end.status));
  if (isThere) return success;
  const char* const unknown = "it did not end normally, or was not started with this Java";
  return complainOfMaking(complaint.empty() ? unknown : complaint);
}

int ArchiveTraining::fail(const std::string& text, int status) {
  complain(text);
  failure_ = text;
  return status;
}

int ArchiveTraining::complainOfMaking(const std::string& failure) {
  // What the JVM has written so far may be gone again, but for its last pages.
  constexpr std::uintmax_t least = std::uintmax_t{1} << 20U;
  std::error_code error;
  for (const fs::path& folder : {fresh_.path(), scratch_.path()}) {
    const fs::space_info space = fs::space(folder, error);
    if (!error && space.available < least)
      return fail(concat({"the JVM wrote no archive: there is no space left in ",
                          folder.parent_path().native()}),
                  noAnswer);
  }
  return fail(concat({"the JVM wrote no archive: ", failure}), statusOfFailure(failure));
}

std::string ArchiveTraining::whyNotRight(const ArchiveKind& kind) const {
  const StaleCodeTrial trial = tryReplacedJar(kind, launch_.jvm, scratch_.path());
  return trial.isRight ? std::string() : trial.complaint;
}

void ArchiveTraining::install(const TrainedArchive& trained, const fs::path& archive) const {
  ArchiveManifest manifest = manifestOf(*trained.kind, trained.files.archive, launch_, run_);
  const fs::path text = fresh_.path() / "manifest";
  const auto former = readManifest(archive);
  if (trained.kind->usesRecordAgain) {
    const fs::path record = archive.native() + ".classes";
    manifest.recordName = record.filename();
    moveInto(trained.files.record, record, fileMode);
  }
  writeNewFile(text, textOf(manifest), fileMode);
  // In this order: a manifest that does not match the archive makes it anew the next time.
  moveInto(trained.files.archive, archive, fileMode);
  moveInto(text, manifestFileOf(archive), fileMode);
  // The record of an archive that this one has replaced.
  std::error_code error;
  const fs::path formerRecord = archive.native() + ".classes";
  if (former && manifest.recordName.empty() && former->recordName == formerRecord.filename())
    fs::remove(formerRecord, error);
}
