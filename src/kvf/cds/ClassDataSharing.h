#ifndef VELOX_KVF_CDS_CLASSDATASHARING_H
#define VELOX_KVF_CDS_CLASSDATASHARING_H

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/cds/ArchiveKind.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/launch/Inspection.h"

/// A launch, as far as it matters for class-data archives.
struct ClassDataLaunch {
  Jvm jvm;
  std::string startClass;
  std::string directory;               ///< the application's working directory
  std::vector<std::string> options;    ///< of the JVM, without those about class-data archives
  std::vector<std::string> classPath;  ///< expanded, absolute
  std::map<std::string, std::string> environment;  ///< of the application, all of it
};

/// The launch that the inspection found, or a sentence that says why it runs no Java application.
struct ClassDataSubject {
  std::optional<ClassDataLaunch> launch;
  std::string complaint;
};
ClassDataSubject classDataSubject(const Inspection& inspection);

/// Why the JVM would use no archive of this kind for the launch, each with what to change; none
/// when nothing speaks against it.
std::vector<std::string> classDataObstacles(const ClassDataLaunch& launch, const ArchiveKind& kind);

/// Why it would write none: these reasons, and that it is too old.
std::vector<std::string> classDataWritingObstacles(const ClassDataLaunch& launch,
                                                   const ArchiveKind& kind);

/// The kinds that can be made, the best one first.
struct SuitableKinds {
  std::vector<const ArchiveKind*> kinds;
  std::string remark;  ///< on what can be made anew; may be empty
};
/// Of the kind of that name, or of all with "auto". A command starts the JVM with the options of
/// the file, also to make the archive anew; a kind that it then could not record is left out with
/// "auto" if there is another one.
SuitableKinds suitableKinds(const ClassDataLaunch& launch, std::string_view wanted,
                            bool withCommand);

/// The options for a variable such as _JAVA_OPTIONS, each as one word, also with blanks or quotes.
/// Nothing when that cannot be written there.
std::optional<std::string> asWords(const std::vector<std::string>& options);

/// What makes a JVM use the archive and print nothing about it.
std::vector<std::string> useOptions(const ArchiveKind& kind, const std::filesystem::path& archive);

/// Records a start of the JVM with the start class, without running it. Why not, or nothing.
std::string recordInProcess(const ArchiveKind& kind, const ClassDataLaunch& launch,
                            const ArchiveFiles& files);

/// Makes the archive from the record, in a process of this program: neither bin/java nor the JVM's
/// own archive has to be there. Why not, or nothing.
std::string makeArchive(const ArchiveKind& kind, const ClassDataLaunch& launch,
                        const ArchiveFiles& files, const std::filesystem::path& scratchFolder);

/// The complaint where the system keeps a JVM from writing.
inline constexpr std::string_view archiveNotStored =
    "it could not be stored; the file system is full, perhaps";

/// What the JVM complained about in its log of class-data sharing, in words that say what to change
/// where that is known; empty when it did not complain.
std::string complaintInLog(std::string_view log);

/// Whether a start of the launch would take its start class from the archive; the JVM is asked,
/// without running the application.
struct ClassDataAcceptance {
  bool accepted = false;
  std::string complaint;  ///< why not, as far as the JVM says
};
ClassDataAcceptance acceptanceOf(const ArchiveKind& kind, const std::filesystem::path& archive,
                                 const ClassDataLaunch& launch,
                                 const std::filesystem::path& scratchFolder);

#endif
