#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>

#include "foundation/PropertyKeys.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataEntry.h"
#include "kvf/cds/StartMeasurement.h"
#include "kvf/commands/ArchiveTraining.h"
#include "kvf/commands/CdsOptions.h"
#include "kvf/commands/Output.h"
#include "kvf/process/Files.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds longestStart(600);

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

/// Options that make a start sooner and a long run slower.
struct ShortOptions {
  const char* name;
  std::vector<std::string> options;
  const char* cost;
};
constexpr char costOfC1[] = "compiled code stays as C1 makes it, often at half the speed";
constexpr char costOfSerial[] = "collections stop the application and use one processor";
constexpr char costOfBoth[] =
    "compiled code stays as C1 makes it, often at half the speed, and collections stop the "
    "application and use one processor";
const ShortOptions shortOptions[] = {
    {"", {}, ""},
    {", C1", {"-XX:TieredStopAtLevel=1"}, costOfC1},
    {", serial", {"-XX:+UseSerialGC"}, costOfSerial},
    {", serial and C1", {"-XX:+UseSerialGC", "-XX:TieredStopAtLevel=1"}, costOfBoth},
};
/// Options that cost a long run have to be that much sooner than those that do not.
constexpr double leastFurtherGain = 0.97;

/// True when the launch itself says which collector or compiler it wants.
bool choosesItself(const ClassDataLaunch& launch) {
  return std::any_of(launch.options.begin(), launch.options.end(), [](const std::string& option) {
    return (option.starts_with("-XX:+Use") && option.ends_with("GC")) ||
           option.starts_with("-XX:TieredStopAtLevel=") || option == "-XX:-TieredCompilation";
  });
}

class ArchiveMaker {
 public:
  ArchiveMaker(const CdsOptions& options, const std::vector<std::string>& command)
      : options_(options),
        command_(command),
        file_(fs::canonical(options.file)),
        inspection_(inspectRun(options.file)) {}

  int make() {
    if (const int status = takeSubject(); status != success) return status;
    if (options_.jar) {
      if (const int status = makeJars(); status != success) return status;
    }
    std::vector<const ArchiveKind*> kinds = possibleKinds();
    if (kinds.empty()) return tellObstacles();
    // Before the application runs, which may take long.
    if (options_.write) static_cast<void>(FileReplacement(file_));
    for (const ArchiveKind* kind : kinds) checkArchiveInPlace(archiveOf(*kind));
    const FolderLock lock(file_.parent_path());
    ArchiveTraining training(options_, file_, inspection_, launch_,
                             {command_, options_.runFor, options_.until});
    std::optional<TrainedArchive> trained;
    for (std::size_t i = 0; i < kinds.size() && !trained; ++i) {
      if (i > 0) say(concat({"trying a ", kinds[i]->title, " instead"}));
      const std::string wrong = training.whyNotRight(*kinds[i]);
      if (wrong.empty()) {
        trained = training.train(*kinds[i], {});
      } else if (kinds.size() == 1) {
        return complain(wrong, negative);
      } else {
        say(wrong);
      }
      // Another kind would fail for the same reason.
      if (training.status() == noAnswer) return noAnswer;
    }
    if (!trained) return negative;
    return propose(training, *trained);
  }

 private:
  static void say(const std::string& text) { static_cast<void>(::complain(text)); }

  int takeSubject() {
    const ClassDataSubject subject = classDataSubject(inspection_);
    if (!subject.launch)
      return complain(options_.file + ": " + subject.complaint + "; see kvf check", noAnswer);
    launch_ = *subject.launch;
    return success;
  }

  [[nodiscard]] fs::path archiveOf(const ArchiveKind& kind) const {
    return fs::weakly_canonical(fs::path(file_).replace_extension(kind.extension));
  }

  /// Those that were asked for and that nothing speaks against, the best one first.
  [[nodiscard]] std::vector<const ArchiveKind*> possibleKinds() const {
    std::vector<const ArchiveKind*> kinds;
    for (const ArchiveKind& kind : archiveKinds()) {
      const bool isWanted = options_.kind == "auto" || options_.kind == kind.name;
      if (isWanted && classDataWritingObstacles(launch_, kind).empty()) kinds.push_back(&kind);
    }
    return kinds;
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
    tellClassPath();
    return negative;
  }

  /// What to do about folders in the class path.
  void tellClassPath() const {
    const auto isFolder = [](const std::string& element) {
      std::error_code error;
      return fs::is_directory(element, error) && !fs::is_empty(element, error);
    };
    const std::vector<std::string>& elements = launch_.classPath;
    if (std::none_of(elements.begin(), elements.end(), isFolder)) return;
    const std::vector<std::string> folders = foldersOfClasses(elements);
    const std::string value = classPathOfArchives(elements, file_.parent_path());
    // There may be no archives to name.
    if (!std::all_of(elements.begin(), elements.end(), isFolder) || folders.empty()) {
      std::cerr << "Name the archives themselves, instead of " << classPathKey() << ":\n"
                << keys::classPath << '=' << printable(value) << '\n';
    }
    if (folders.empty()) return;
    for (const std::string& changed : changedByOrder(elements))
      std::cerr << "In that order another one is used: " << printable(changed) << '\n';
    std::cerr << "kvf cds --jar makes archives of the folders, which keep their places.\n";
  }

  /// Makes archives of the folders of the class path; with --write the file names them.
  int makeJars() {
    std::map<std::string, std::string> jars;
    for (const std::string& folder : foldersOfClasses(launch_.classPath))
      jars[folder] = file_.parent_path() / concat({fs::path(folder).filename().native(), ".jar"});
    if (jars.empty()) return success;
    const std::string value = classPathOfArchives(launch_.classPath, file_.parent_path(), jars);
    const char* key =
        inspection_.plan.classPathKey == nullptr ? keys::classPath : inspection_.plan.classPathKey;
    std::cout << "Later changes in a folder take effect once its archive is made anew.\n"
              << key << '=' << printable(value) << '\n';
    if (!options_.write) {
      std::cout << "With --write the archives are made and the file is changed like this.\n";
      return negative;
    }
    const FileReplacement replacement(file_);
    for (const auto& [folder, jar] : jars) {
      const TemporaryFolder fresh(file_.parent_path(), ".kvf-");
      const fs::path made = fresh.path() / fs::path(jar).filename();
      writeNewFile(made, archiveOfFolder(folder), 0644);
      moveToFreeName(made, jar);
    }
    const std::string text = withEntry(replacement.text(), key, value);
    const Inspection after = inspectRun(options_.file, &text);
    const ClassDataSubject subject = classDataSubject(after);
    if (!subject.launch || !foldersOfClasses(subject.launch->classPath).empty())
      return complain(concat({file_.native(),
                              " is left as it is: with this line the class path would "
                              "still have a folder"}),
                      negative);
    replacement.replace(text);
    inspection_ = inspectRun(options_.file);
    return takeSubject();
  }

  struct Candidate {
    const ShortOptions* further;  ///< besides the options of the archive
    std::size_t variant;
  };

  int propose(const ArchiveTraining& training, const TrainedArchive& trained) {
    std::vector<std::string> further;
    if (!measure(training, trained, further)) return negative;
    const fs::path archive = archiveOf(*trained.kind);
    training.install(trained, archive);
    std::cout << printable(archive.native()) << ": " << trained.kind->title << ", "
              << fs::file_size(archive) / 1024 << " KiB, accepted by Java " << launch_.jvm.version
              << '\n';
    return tellEntry(*trained.kind, archive, further);
  }

  /// Measures the starts and takes the options of the best variant; false when none is better.
  bool measure(const ArchiveTraining& training, const TrainedArchive& trained,
               std::vector<std::string>& further) const {
    if (options_.pairs == 0) return true;
    if (options_.runFor && options_.until.empty()) {
      say("not measured: --until TEXT says when the application has started");
      return true;
    }
    std::vector<StartVariant> variants;
    std::vector<Candidate> candidates;
    const auto add = [&](const std::string& name, const std::vector<std::string>& options) {
      ProgramRun run = training.runWith(options).value();
      run.output = ProgramRun::Output::dropped;
      if (!run.limit) run.limit = longestStart;
      variants.push_back({name, std::move(run), 0});
    };
    add("plain", training.resettingOptions());
    const std::uintmax_t bytes = fs::file_size(trained.files.archive);
    for (const ShortOptions& options : shortOptions) {
      const bool isWanted = options_.shortRuns && !choosesItself(launch_);
      if (!options.options.empty() && !isWanted) continue;
      std::vector<std::string> all = useOptions(*trained.kind, trained.files.archive);
      all.insert(all.end(), options.options.begin(), options.options.end());
      candidates.push_back({&options, variants.size()});
      add(concat({trained.kind->title, options.name}), all);
      variants.back().archiveBytes = bytes;
    }
    addPresent(variants);
    const bool isTerminal = showsProgressInPlace();
    const std::vector<StartTimes> times =
        measureStarts(variants, options_.pairs, [&](unsigned round) {
          std::fprintf(stderr, "%skvf: measuring %zu starts, round %u of %u%s",
                       isTerminal ? "\r" : "", variants.size(), round + 1, options_.pairs + 1,
                       isTerminal && round < options_.pairs ? "" : "\n");
        });
    std::cout << tableOf(variants, times);
    if (!times[0].failure.empty()) {
      say("not measured: " + times[0].failure);
      return true;
    }
    const Candidate* best = bestOf(candidates, times);
    if (best == nullptr) {
      std::cout << "The application does not start sooner with it.\n";
      if (!options_.write)
        std::cout << "The file is left as it is; --write adds the line all the same.\n";
      return options_.write;
    }
    further = best->further->options;
    if (!further.empty())
      std::cout << "For commands that end soon. A long run pays for it: " << best->further->cost
                << ".\n";
    return true;
  }

  /// As the file is now, with an archive.
  void addPresent(std::vector<StartVariant>& variants) const {
    const bool hasOne = !sharedArchiveFiles(inspection_.plan.options).empty() ||
                        !aheadOfTimeCache(inspection_.plan.options).empty();
    if (!hasOne) return;
    StartVariant present = variants[0];
    present.name = "as it is";
    present.run.environment.clear();
    if (command_.empty()) present.run.arguments.back() = options_.file;
    variants.push_back(present);
  }

  /// The one that gains most; null: no gain.
  static const Candidate* bestOf(const std::vector<Candidate>& candidates,
                                 const std::vector<StartTimes>& times) {
    const Candidate* best = nullptr;
    double least = 1;
    for (const Candidate& candidate : candidates) {
      const StartTimes& time = times[candidate.variant];
      if (!time.gains() || time.ratio.median > least) continue;
      best = &candidate;
      least = time.ratio.median * leastFurtherGain;
    }
    return best;
  }

  int tellEntry(const ArchiveKind& kind, const fs::path& archive,
                const std::vector<std::string>& further) {
    // The file as it is now: the application may have run for a long time.
    const std::string text = readWhole(file_);
    const ClassDataEntry entry = withClassDataArchive(
        text, kind, fs::path(file_).replace_extension(kind.extension).filename().native(), further,
        inheritedOptions());
    const bool isThere = entry.text == text;
    if (!isThere) {
      const std::string complaint = whyWithoutEffect(text, entry, archive);
      if (!complaint.empty()) {
        complain(concat({file_.native(), " is left as it is: with this line ", complaint}), 0);
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
  fs::path file_;
  Inspection inspection_;
  ClassDataLaunch launch_;
};

/// Makes the archive that a file uses anew.
class ArchiveRefresh {
 public:
  explicit ArchiveRefresh(const CdsOptions& options)
      : options_(options),
        file_(fs::canonical(options.file)),
        inspection_(inspectRun(options.file)) {}

  int refresh() {
    const ClassDataSubject subject = classDataSubject(inspection_);
    if (!subject.launch)
      return complain(options_.file + ": " + subject.complaint + "; see kvf check", noAnswer);
    const std::string named = archiveInUse();
    if (named.empty())
      return complain(options_.file + " uses no archive; kvf cds --write adds one", noAnswer);
    const fs::path archive = inspection_.atApplication(named);
    auto manifest = readManifest(archive);
    if (!manifest || findArchiveKind(manifest->kind) == nullptr)
      return complain(concat({archive.native(), " has no manifest; kvf cds --write makes both"}),
                      noAnswer);
    if (manifestMisfits(*manifest, archive, *subject.launch, options_.deep).empty()) return success;
    const FolderLock lock(archive.parent_path());
    // Another process may have made it meanwhile.
    if (auto now = readManifest(archive)) manifest = std::move(now);
    const std::vector<std::string> misfits =
        manifestMisfits(*manifest, archive, *subject.launch, options_.deep);
    if (misfits.empty()) return success;
    complain(concat({archive.native(), ": ", misfits[0], "; it is made anew"}), 0);
    return makeAnew(*manifest, archive, *subject.launch);
  }

 private:
  [[nodiscard]] std::string archiveInUse() const {
    const std::vector<std::string> shared = sharedArchiveFiles(inspection_.plan.options);
    return shared.empty() ? aheadOfTimeCache(inspection_.plan.options) : shared.back();
  }

  int makeAnew(const ArchiveManifest& manifest, const fs::path& archive,
               const ClassDataLaunch& launch) const {
    const ArchiveKind& kind = *findArchiveKind(manifest.kind);
    for (const std::string& obstacle : classDataWritingObstacles(launch, kind))
      return complain(obstacle, negative);
    ArchiveTraining training(options_, file_, inspection_, launch, manifest.training);
    if (const std::string wrong = training.whyNotRight(kind); !wrong.empty())
      return complain(wrong, negative);
    std::error_code error;
    fs::path record = archive.parent_path() / manifest.recordName;
    if (manifest.recordName.empty() || !fs::is_regular_file(record, error)) record.clear();
    const auto trained = training.train(kind, record);
    if (!trained) return training.status();
    training.install(*trained, archive);
    return success;
  }

  const CdsOptions& options_;
  fs::path file_;
  Inspection inspection_;
};

}  // namespace

int makeArchive(const CdsOptions& options, const std::vector<std::string>& command) {
  return ArchiveMaker(options, command).make();
}

int refreshArchive(const CdsOptions& options) {
  return ArchiveRefresh(options).refresh();
}
