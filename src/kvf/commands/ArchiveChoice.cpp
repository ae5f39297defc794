#include "kvf/commands/ArchiveChoice.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/StartMeasurement.h"
#include "kvf/commands/Output.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds longestStart(600);

/// Options that make a start sooner and a long run slower.
struct ShortOptions {
  const char* name;
  /// An archive that is made with another collector may lack the objects that this one can use.
  const char* collector;
  const char* compiler;
  const char* cost;
};
constexpr char serial[] = "-XX:+UseSerialGC";
constexpr char c1[] = "-XX:TieredStopAtLevel=1";
constexpr ShortOptions shortOptions[] = {
    {", C1", nullptr, c1, "compiled code stays as C1 makes it, often at half the speed"},
    {", serial", serial, nullptr, "collections stop the application and use one processor"},
    {", serial and C1", serial, c1,
     "compiled code stays as C1 makes it, often at half the speed, and collections stop the "
     "application and use one processor"},
};
/// Options that cost a long run have to be that much sooner than those that do not.
constexpr double leastFurtherGain = 0.97;

/// Why starts are not measured; empty: they are.
std::string whyNotMeasured(const CdsOptions& options) {
  if (options.pairs == 0) return "not measured";
  if (options.runFor && options.until.empty())
    return "not measured: --until TEXT says when the application has started";
  return {};
}

/// True when the launch itself says which collector or compiler it wants.
bool choosesItself(const ClassDataLaunch& launch) {
  return std::any_of(launch.options.begin(), launch.options.end(), [](const std::string& option) {
    return (option.starts_with("-XX:+Use") && option.ends_with("GC")) ||
           option.starts_with("-XX:TieredStopAtLevel=") || option == "-XX:-TieredCompilation";
  });
}

class ArchiveChoice {
 public:
  ArchiveChoice(const CdsOptions& options, const std::vector<std::string>& command,
                const Inspection& inspection, ArchiveTraining& training, ArchiveReport& report)
      : options_(options),
        command_(command),
        inspection_(inspection),
        training_(training),
        report_(report),
        variants_(report.variants) {}

  std::optional<ChosenArchive> choose(const std::vector<TrainedArchive>& trained, bool withShort) {
    const ChosenArchive unmeasured = {trained.front(), {}};
    if (report_.why = whyNotMeasured(options_); !report_.why.empty()) {
      if (options_.pairs > 0) complain(report_.why);
      return unmeasured;
    }
    addVariant("plain", training_.resettingOptions());
    for (const TrainedArchive& archive : trained) addCandidate("", archive, {}, "");
    for (const TrainedArchive& archive : trained) {
      if (withShort) addShort(archive);
    }
    addPresent();
    report_.times = measure();
    const std::vector<StartTimes>& times = report_.times;
    std::cout << tableOf(variants_, times);
    if (!times[0].failure.empty()) {
      report_.why = "not measured: " + times[0].failure;
      complain(report_.why);
      return unmeasured;
    }
    const Candidate* best = bestOf(times);
    if (best == nullptr) {
      report_.why = "the application does not start sooner with it";
      std::cout << "The application does not start sooner with it.\n";
      if (options_.write) return unmeasured;
      std::cout << "The file is left as it is; --write adds the line all the same.\n";
      return std::nullopt;
    }
    report_.why = concat({"of what was measured it gains most: ", variants_[best->variant].name});
    if (!best->archive.further.empty())
      std::cout << "For commands that end soon. A long run pays for it: " << best->cost << ".\n";
    return best->archive;
  }

 private:
  struct Candidate {
    ChosenArchive archive;
    const char* cost;
    std::size_t variant;
  };

  void addVariant(const std::string& name, const std::vector<std::string>& options) {
    ProgramRun run = training_.runWith(options).value();
    run.output = ProgramRun::Output::dropped;
    if (!run.limit) run.limit = longestStart;
    variants_.push_back({name, std::move(run), 0});
  }

  void addCandidate(const char* name, const TrainedArchive& trained,
                    const std::vector<std::string>& further, const char* cost) {
    std::vector<std::string> options = useOptions(*trained.kind, trained.files.archive);
    options.insert(options.end(), further.begin(), further.end());
    candidates_.push_back({{trained, further}, cost, variants_.size()});
    addVariant(concat({trained.kind->title, name}), options);
    variants_.back().archiveBytes = fs::file_size(trained.files.archive);
  }

  void addShort(const TrainedArchive& trained) {
    const fs::path record = trained.kind->usesRecordAgain ? trained.files.record : fs::path();
    const auto trainedSerially = training_.train(*trained.kind, record, {serial});
    for (const ShortOptions& options : shortOptions) {
      if (options.collector != nullptr && !trainedSerially) continue;
      std::vector<std::string> further;
      for (const char* option : {options.collector, options.compiler}) {
        if (option != nullptr) further.emplace_back(option);
      }
      addCandidate(options.name, options.collector == nullptr ? trained : *trainedSerially, further,
                   options.cost);
    }
  }

  /// As the file is now, with an archive.
  void addPresent() {
    const bool hasOne = !sharedArchiveFiles(inspection_.plan.options).empty() ||
                        !aheadOfTimeCache(inspection_.plan.options).empty();
    if (!hasOne) return;
    StartVariant present = variants_[0];
    present.name = "as it is";
    present.run.environment.clear();
    if (command_.empty()) present.run.arguments.back() = options_.file;
    variants_.push_back(present);
  }

  [[nodiscard]] std::vector<StartTimes> measure() const {
    const bool isTerminal = showsProgressInPlace();
    return measureStarts(variants_, options_.pairs, [&](unsigned round) {
      std::fprintf(stderr, "%skvf: measuring %zu starts, round %u of %u%s", isTerminal ? "\r" : "",
                   variants_.size(), round + 1, options_.pairs + 1,
                   isTerminal && round < options_.pairs ? "" : "\n");
    });
  }

  /// The one that gains most; null: no gain.
  [[nodiscard]] const Candidate* bestOf(const std::vector<StartTimes>& times) const {
    const Candidate* best = nullptr;
    double least = 1;
    for (const Candidate& candidate : candidates_) {
      const StartTimes& time = times[candidate.variant];
      if (!time.gains() || time.ratio.median > least) continue;
      best = &candidate;
      least = time.ratio.median * leastFurtherGain;
    }
    return best;
  }

  const CdsOptions& options_;
  const std::vector<std::string>& command_;
  const Inspection& inspection_;
  ArchiveTraining& training_;
  ArchiveReport& report_;
  std::vector<StartVariant>& variants_;
  std::vector<Candidate> candidates_;
};

}  // namespace

bool canMeasure(const CdsOptions& options) {
  return whyNotMeasured(options).empty();
}

std::optional<ChosenArchive> chooseArchive(const CdsOptions& options,
                                           const std::vector<std::string>& command,
                                           const Inspection& inspection,
                                           const ClassDataLaunch& launch, ArchiveTraining& training,
                                           const std::vector<TrainedArchive>& trained,
                                           ArchiveReport& report) {
  const bool withShort = options.shortRuns && !choosesItself(launch);
  return ArchiveChoice(options, command, inspection, training, report).choose(trained, withShort);
}
