#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <list>
#include <map>
#include <optional>
#include <utility>

#include "foundation/PropertyKeys.h"
#include "kvf/cds/ArchivableClassPath.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataEntry.h"
#include "kvf/commands/ArchiveChoice.h"
#include "kvf/commands/ArchiveTraining.h"
#include "kvf/commands/CdsOptions.h"
#include "kvf/commands/Output.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"
#include "kvf/process/FileReplacement.h"
#include "kvf/process/FolderLock.h"
#include "kvf/process/NewFile.h"
#include "kvf/process/PreparedFile.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

int complain(const std::string& text, int status) {
  ::complain(text);
  return status;
}

/// Keys with other values, except that of the JVM's options.
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
  ArchiveMaker(const CdsOptions& options, const std::vector<std::string>& command,
               ArchiveReport& report)
      : options_(options),
        command_(command),
        report_(report),
        file_(fs::canonical(options.file)),
        inspection_(inspectRun(options.file)) {}

  int make() {
    if (const int status = takeSubject(); status != success) return status;
    if (options_.jar) {
      if (const int status = makeJars(); status != success) return status;
    }
    const SuitableKinds suitable = suitableKinds(launch_, options_.kind, !command_.empty());
    if (suitable.kinds.empty()) return tellObstacles();
    // Before the application runs, which may take long.
    if (options_.write) static_cast<void>(FileReplacement(file_));
    for (const ArchiveKind* kind : suitable.kinds) checkArchiveInPlace(archiveOf(*kind));
    if (!suitable.remark.empty()) say(suitable.remark);
    tellNamedArchives();
    const FolderLock lock(file_.parent_path());
    ArchiveTraining training(options_, file_, inspection_, launch_,
                             {command_, options_.runFor, options_.until});
    std::vector<TrainedArchive> trained;
    if (const int status = trainAll(suitable.kinds, training, trained); status != success)
      return status;
    return propose(training, trained);
  }

 private:
  static void say(const std::string& text) { static_cast<void>(::complain(text)); }

  int takeSubject() {
    const ClassDataSubject subject = classDataSubject(inspection_);
    if (!subject.launch)
      return complain(options_.file + ": " + subject.complaint + "; see kvf check", noAnswer);
    launch_ = *subject.launch;
    report_.file = file_;
    report_.javaVersion = launch_.jvm.version;
    report_.javaLibrary = launch_.jvm.library;
    return success;
  }

  /// Makes an archive of each kind that is to be compared, and of the first one at least.
  int trainAll(const std::vector<const ArchiveKind*>& kinds, ArchiveTraining& training,
               std::vector<TrainedArchive>& trained) {
    for (const ArchiveKind* kind : kinds) {
      if (!trained.empty() && (kind->isLastResort || !canMeasure(options_))) break;
      if (kind != kinds.front())
        say(concat({"trying a ", kind->title, trained.empty() ? " instead" : ", too"}));
      std::string failure = training.whyNotRight(*kind);
      if (!failure.empty()) {
        say(failure);
        if (statusOfFailure(failure) == noAnswer) return noAnswer;
      } else if (auto archive = training.train(*kind, {})) {
        trained.push_back(std::move(*archive));
      } else {
        failure = training.failure();
        // Another kind would fail for the same reason.
        if (training.status() == noAnswer) return noAnswer;
      }
      report_.kinds.push_back({kind->name, failure});
    }
    if (!trained.empty()) return success;
    report_.why = report_.kinds.back().failure;
    return negative;
  }

  [[nodiscard]] fs::path archiveOf(const ArchiveKind& kind) const {
    return fs::weakly_canonical(fs::path(file_).replace_extension(kind.extension));
  }

  /// The user may have another file of that name.
  static void checkArchiveInPlace(const fs::path& archive) {
    if (fs::exists(archive) && !parseClassDataArchive(textOfFile(archive, 4096)))
      throw FileError(concat({archive.native(), " exists and is not a class-data archive"}));
  }

  [[nodiscard]] const char* classPathKey() const {
    return inspection_.plan.classPathKey == nullptr ? "CLASSPATH" : inspection_.plan.classPathKey;
  }

  int tellObstacles() {
    const std::span<const ArchiveKind> all = archiveKinds();
    const ArchiveKind* asked = findArchiveKind(options_.kind);
    // With a Java that makes none of them, the reasons of the last kind apply to all.
    for (const std::string& obstacle :
         classDataWritingObstacles(launch_, asked == nullptr ? all[all.size() - 2] : *asked))
      complain(obstacle, negative);
    for (const ArchiveKind& kind : all) {
      if (asked == nullptr || asked == &kind)
        report_.kinds.push_back({kind.name, classDataWritingObstacles(launch_, kind)[0]});
    }
    report_.why = "nothing can be made";
    tellClassPath();
    return negative;
  }

  /// What to do about folders in the class path.
  void tellClassPath() const {
    const std::vector<std::string>& elements = launch_.classPath;
    if (std::none_of(elements.begin(), elements.end(), isFolderWithFiles)) return;
    const std::vector<std::string> folders = foldersOfClasses(elements);
    const std::string value = classPathOfArchives(elements, file_.parent_path());
    // There may be no archives to name.
    if (!std::all_of(elements.begin(), elements.end(), isFolderWithFiles) || folders.empty()) {
      std::cerr << "Name the archives themselves, instead of " << classPathKey() << ":\n"
                << keys::classPath << '=' << printable(value) << '\n';
    }
    if (folders.empty()) return;
    for (const std::string& changed : changedByOrder(elements))
      std::cerr << "In that order another one is used: " << printable(changed) << '\n';
    std::cerr << "kvf cds --jar makes archives of the folders, which keep their places.\n";
  }

  void tellNamedArchives() const {
    const std::size_t named =
        withNamedArchives(launch_.classPath).size() - launch_.classPath.size();
    if (named == 0) return;
    say(concat({"manifests of the class path name ", countOf(named, "archive"),
                " by absolute paths, and classes of those are in no archive unless the class path "
                "names them, too: --jar does that"}));
  }

  /// Makes archives of the folders of the class path, and names those that manifests name; with
  /// --write in the file.
  int makeJars() {
    std::map<std::string, std::string> jars;
    for (const std::string& folder : foldersOfClasses(launch_.classPath)) {
      if (!jars.contains(folder)) jars[folder] = freeArchive(folder, jars);
    }
    const std::vector<std::string> elements = withNamedArchives(launch_.classPath);
    if (jars.empty() && elements == launch_.classPath) return success;
    const std::string value = classPathOfArchives(elements, file_.parent_path(), jars);
    const char* key =
        inspection_.plan.classPathKey == nullptr ? keys::classPath : inspection_.plan.classPathKey;
    if (!jars.empty())
      std::cout << "Later changes in a folder take effect once its archive is made anew.\n";
    std::cout << key << '=' << printable(value) << '\n';
    if (!options_.write) {
      report_.why = "the class path has to be changed first, with --jar and --write";
      std::cout << "With --write the archives are made and the file is changed like this.\n";
      return negative;
    }
    const FileReplacement replacement(file_);
    std::list<PreparedFile> made;
    for (const auto& [folder, jar] : jars)
      made.emplace_back(jar, archiveOfFolder(folder), usualFileMode());
    for (PreparedFile& jar : made) jar.place();
    const std::string text = withEntry(replacement.text(), key, value);
    const Inspection after = inspectRun(options_.file, &text);
    const ClassDataSubject subject = classDataSubject(after);
    if (!subject.launch || !foldersOfClasses(subject.launch->classPath).empty())
      return complain(concat({file_.native(),
                              " is left as it is: with this line the class path would "
                              "still have a folder"}),
                      negative);
    replacement.replace(text);
    for (PreparedFile& jar : made) jar.keep();
    inspection_ = inspectRun(options_.file);
    return takeSubject();
  }

  /// The archive of a folder beside the file, under a name that no other one and no file has.
  [[nodiscard]] fs::path freeArchive(const fs::path& folder,
                                     const std::map<std::string, std::string>& jars) const {
    const fs::path normal = folder.lexically_normal();
    fs::path name = normal.has_filename() ? normal.filename() : normal.parent_path().filename();
    if (name.empty()) name = "classes";
    fs::path archive = file_.parent_path() / concat({name.native(), ".jar"});
    const auto isTaken = [&] {
      std::error_code error;
      return fs::exists(fs::symlink_status(archive, error)) ||
             std::any_of(jars.begin(), jars.end(),
                         [&](const auto& jar) { return jar.second == archive; });
    };
    for (int number = 2; isTaken(); ++number) {
      archive.replace_filename(concat({name.native(), "-", std::to_string(number), ".jar"}));
    }
    return archive;
  }

  int propose(ArchiveTraining& training, const std::vector<TrainedArchive>& trained) {
    const auto chosen =
        chooseArchive(options_, command_, inspection_, launch_, training, trained, report_);
    if (!chosen) return negative;
    const ArchiveKind& kind = *chosen->archive.kind;
    const fs::path archive = archiveOf(kind);
    training.install(chosen->archive, archive);
    std::cout << printable(archive.native()) << ": " << kind.title << ", "
              << fs::file_size(archive) / 1024 << " KiB, accepted by Java " << launch_.jvm.version
              << '\n';
    report_.chosen = {kind.name, archive, fs::file_size(archive), chosen->further};
    return tellEntry(kind, archive, chosen->further);
  }

  int tellEntry(const ArchiveKind& kind, const fs::path& archive,
                const std::vector<std::string>& further) {
    // The file as it is now: the application may have run for a long time.
    const std::string text = readWhole(file_);
    const ClassDataEntry entry = withClassDataArchive(
        text, kind, fs::path(file_).replace_extension(kind.extension).filename().native(), further,
        inheritedOptions());
    const bool isThere = entry.text == text;
    report_.line = entry.line;
    if (!isThere) {
      const std::string complaint = whyWithoutEffect(text, entry, archive);
      if (!complaint.empty()) {
        report_.unwritten = "with this line " + complaint;
        complain(concat({file_.native(), " is left as it is: ", report_.unwritten}), 0);
        std::cout << printable(entry.line) << '\n';
        return options_.write ? negative : success;
      }
    }
    if (!isThere && options_.write) {
      const FileReplacement replacement(file_);
      if (replacement.text() != text)
        throw FileError(concat({file_.native(), " is being changed: it is left as it is"}));
      replacement.replace(entry.text);
    }
    report_.written = isThere || options_.write;
    if (!report_.written) report_.unwritten = "--write was not given";
    const std::string change = concat({"changed ", printable(file_.native()), ":\n"});
    std::cout
        << (isThere          ? "the file uses it already:\n"
            : options_.write ? change
                             : "")
        << printable(entry.line) << '\n'
        << "When the archive is missing or the JVM refuses it, as after a change of a jar, the "
           "application starts "
        << kind.whenRefused << ". kvf check tells, and kvf cds --refresh makes it anew.\n";
    return success;
  }

  /// Why the entry would have no effect, or nothing.
  [[nodiscard]] std::string whyWithoutEffect(const std::string& text, const ClassDataEntry& entry,
                                             const fs::path& archive) const {
    const Inspection before = inspectRun(options_.file, &text);
    const Inspection after = inspectRun(options_.file, &entry.text);
    if (!after.run().failures.empty())
      return concat({"a launch would end with ", after.run().failures[0].message});
    std::vector<std::string> used = sharedArchiveFiles(after.plan.options);
    const std::string cache = aheadOfTimeCache(after.plan.options);
    if (!cache.empty()) used.push_back(cache);
    std::error_code error;
    if (used.size() != 1 || !fs::equivalent(after.atApplication(used[0]), archive, error)) {
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
  std::vector<std::string> command_;
  ArchiveReport& report_;
  fs::path file_;
  Inspection inspection_;
  ClassDataLaunch launch_;
};

}  // namespace

int makeArchive(const CdsOptions& options, const std::vector<std::string>& command,
                ArchiveReport& report) {
  return ArchiveMaker(options, command, report).make();
}
