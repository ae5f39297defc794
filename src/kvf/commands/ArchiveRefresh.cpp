#include <filesystem>
#include <system_error>

#include "kvf/cds/ArchiveManifest.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/commands/ArchiveTraining.h"
#include "kvf/commands/CdsOptions.h"
#include "kvf/commands/Output.h"
#include "kvf/process/FolderLock.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

int complain(const std::string& text, int status) {
  ::complain(text);
  return status;
}

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
      return complain(concat({archive.native(),
                              fs::exists(manifestFileOf(archive)) ? " has a damaged manifest"
                                                                  : " has no manifest",
                              "; kvf cds --write makes both"}),
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
      return complain(wrong, statusOfFailure(wrong));
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

int refreshArchive(const CdsOptions& options) {
  return ArchiveRefresh(options).refresh();
}
