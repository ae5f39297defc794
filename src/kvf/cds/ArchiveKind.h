#ifndef VELOX_KVF_CDS_ARCHIVEKIND_H
#define VELOX_KVF_CDS_ARCHIVEKIND_H

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// A kind of archive that a JVM can start an application from: what records a run of it, what makes
/// the archive from the record, and what uses it.
struct ArchiveKind {
  const char* name;   ///< as the user says it
  const char* title;  ///< as it is called in a sentence
  const char* extension;
  std::string_view useOption;    ///< the archive's path follows
  std::string_view quietOption;  ///< with it the JVM prints nothing about an archive
  std::string_view logTags;      ///< log tags for what the JVM says about it
  /// After useOption it cancels that, so that the JVM can record; empty: nothing does.
  std::string_view cancelOption;
  unsigned firstRelease;  ///< the oldest Java that makes it from an application's classes
  /// What makes the application's own run leave a record, in %R; for a dynamic archive the record
  /// is the archive.
  std::vector<std::string_view> (*recording)();
  /// What makes a JVM write the archive %A from the record and end; empty: not needed.
  std::vector<std::string_view> (*making)(unsigned release);
  bool (*isLinked)(
      unsigned release);    ///< it holds linked classes: module options have to be the same
  bool usesRecordAgain;     ///< the record outlives changes of the class path
  bool isLastResort;        ///< made by itself only where the JVM makes no other
  const char* whenRefused;  ///< how the application starts when it is missing or the JVM refuses it
};

/// All of them, the best one first.
std::span<const ArchiveKind> archiveKinds();

/// The kind of that name, or null.
const ArchiveKind* findArchiveKind(std::string_view name);

/// Where a record, and the archive that is made from it, are.
struct ArchiveFiles {
  std::filesystem::path record;
  std::filesystem::path archive;
};

/// The options with the paths in them.
std::vector<std::string> recordingOptions(const ArchiveKind& kind, const ArchiveFiles& files);
std::vector<std::string> makingOptions(const ArchiveKind& kind, unsigned release,
                                       const ArchiveFiles& files);

/// From this release on the jars of an archive may all have moved to another folder together.
inline constexpr unsigned firstWithMovableJars = 20;

/// True for an option that says which archive a JVM uses or writes.
bool isArchiveOption(std::string_view option);

#endif
