#ifndef VELOX_KVF_CDS_ARCHIVEMANIFEST_H
#define VELOX_KVF_CDS_ARCHIVEMANIFEST_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/cds/ArchiveKind.h"
#include "kvf/cds/ClassDataSharing.h"

/// What an archive was made from, in a file beside it: it shows quickly, and without a JVM, whether
/// the archive still fits, and how to make it anew.

/// A file as it was then.
struct RecordedFile {
  std::string path = {};
  bool isThere = true;
  bool isFolder = false;
  std::uint64_t bytes = 0;
  std::int64_t seconds = 0;  ///< of its last change, since 1970; JVMs compare no fractions either
  std::string digest = {};   ///< SHA-256; of files of the class path only

  bool operator==(const RecordedFile&) const = default;
};

/// How a run of the application is made.
struct TrainingRun {
  std::vector<std::string> command;  ///< empty: the launch that the properties file describes
  std::optional<unsigned> runFor;    ///< seconds
  std::string until;

  bool operator==(const TrainingRun&) const = default;
};

struct ArchiveManifest {
  std::string kind;
  std::uint64_t archiveBytes = 0;
  std::string javaVersion;
  std::string buildId;               ///< of the JVM's library; empty: it has none
  std::vector<std::string> options;  ///< those that an archive depends on, in order
  std::vector<RecordedFile> classPath;
  std::vector<RecordedFile> referenced;  ///< by manifests of those jars; without digests
  std::string recordName;                ///< of the list of classes beside it; empty: there is none
  TrainingRun training;

  bool operator==(const ArchiveManifest&) const = default;
};

/// "/x/app.aot" -> "/x/app.aot.manifest".
std::filesystem::path manifestFileOf(const std::filesystem::path& archive);

/// Reads the class path's files, for their digests. Throws FileError.
ArchiveManifest manifestOf(const ArchiveKind& kind, const std::filesystem::path& archive,
                           const ClassDataLaunch& launch, const TrainingRun& training);

std::string textOf(const ArchiveManifest& manifest);
/// Nothing when the text is not a manifest. Takes any text.
std::optional<ArchiveManifest> parseArchiveManifest(std::string_view text);
std::optional<ArchiveManifest> readManifest(const std::filesystem::path& archive);

/// What no longer fits, in sentences; none when nothing speaks against the archive. `deep` reads
/// the class path's files, and so finds changes that left size and time as they were, which a JVM
/// does not see. Throws FileError for one that it cannot read.
std::vector<std::string> manifestMisfits(const ArchiveManifest& manifest,
                                         const std::filesystem::path& archive,
                                         const ClassDataLaunch& launch, bool deep);

#endif
