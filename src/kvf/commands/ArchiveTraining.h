#ifndef VELOX_KVF_COMMANDS_ARCHIVETRAINING_H
#define VELOX_KVF_COMMANDS_ARCHIVETRAINING_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kvf/cds/ArchiveKind.h"
#include "kvf/cds/ArchiveManifest.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/commands/CdsOptions.h"
#include "kvf/launch/Inspection.h"
#include "kvf/process/ProgramRun.h"
#include "kvf/process/TemporaryFolder.h"
#include "kvf/process/Unfinished.h"

/// The launch that the file describes, as the launcher would run it.
Inspection inspectRun(const std::string& file, const std::string* text = nullptr);

/// The exit status for a kind of archive that cannot be made: noAnswer where the system has kept
/// the JVM from writing, else negative.
int statusOfFailure(const std::string& failure);

/// An archive that the JVM accepts, in a folder of its own beside the place where it is to be.
struct TrainedArchive {
  const ArchiveKind* kind = nullptr;
  ArchiveFiles files;
};

/// Makes archives for an application by running it. Owns everything until it is installed.
class ArchiveTraining {
 public:
  /// The training is of the file, or of the command where there is one.
  ArchiveTraining(const CdsOptions& options, const std::filesystem::path& file,
                  const Inspection& inspection, ClassDataLaunch launch, TrainingRun run);

  /// Makes one of this kind and tries it with the JVM, with further options of it; if a record is
  /// given, nothing is run. Nothing, and a line on standard error, when that fails; the
  /// status says how.
  std::optional<TrainedArchive> train(const ArchiveKind& kind, const std::filesystem::path& record,
                                      const std::vector<std::string>& further = {});
  [[nodiscard]] int status() const { return status_; }
  /// The last line that said why there is none.
  [[nodiscard]] const std::string& failure() const { return failure_; }

  /// Whether this JVM runs the current code with such an archive; if not, why.
  [[nodiscard]] std::string whyNotRight(const ArchiveKind& kind) const;

  /// Puts the archive, its record and its manifest where they belong.
  void install(const TrainedArchive& trained, const std::filesystem::path& archive) const;

  /// A run of the application with these options of the JVM besides its own.
  [[nodiscard]] std::optional<ProgramRun> runWith(const std::vector<std::string>& options) const;
  /// The options that cancel an archive of the command's own launch; empty for none.
  [[nodiscard]] const std::vector<std::string>& resettingOptions() const { return resetting_; }

 private:
  int runOnce(const ArchiveKind& kind, const ArchiveFiles& files,
              const std::vector<std::string>& further);
  int complainOfMaking(const std::string& failure);
  /// Prints it as the reason; returns the status.
  int fail(const std::string& text, int status);

  std::filesystem::path file_;
  ClassDataLaunch launch_;
  TrainingRun run_;
  std::vector<std::string> command_, resetting_;
  TemporaryFolder fresh_;
  TemporaryFolder scratch_;
  /// The file without the options of an archive, which cannot be cancelled in another way.
  class PlainFile final : private Unfinished {
   public:
    PlainFile(std::filesystem::path file, std::string_view text);
    PlainFile(const PlainFile&) = delete;
    PlainFile& operator=(const PlainFile&) = delete;
    ~PlainFile() override { takeBack(); }

   private:
    void takeBack() noexcept override;

    std::filesystem::path file_;
    bool isThere_ = false;
  };
  std::optional<PlainFile> plain_;
  unsigned trained_ = 0;
  int status_ = 0;
  std::string failure_;
};

#endif
