#ifndef VELOX_KVF_CDS_CLASSDATASHARING_H
#define VELOX_KVF_CDS_CLASSDATASHARING_H

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/jvm/JvmSearch.h"
#include "kvf/launch/Inspection.h"

/// A launch, as far as it decides about class-data archives.
struct ClassDataLaunch {
  Jvm jvm;
  std::string startClass;
  std::string directory;               ///< the application's working directory
  std::vector<std::string> options;    ///< of the JVM, without those about class-data archives
  std::vector<std::string> classPath;  ///< expanded, absolute
  std::map<std::string, std::string> exported;
};

/// The launch that the inspection found, or a sentence that says why it runs no Java application.
struct ClassDataSubject {
  std::optional<ClassDataLaunch> launch;
  std::string complaint;
};
ClassDataSubject classDataSubject(const Inspection& inspection);

/// Why the JVM would use no archive for the launch, each with what to change; none when nothing
/// speaks against it.
std::vector<std::string> classDataObstacles(const ClassDataLaunch& launch);

/// Why it would write none at its end: these, and that it is too old.
std::vector<std::string> classDataWritingObstacles(const ClassDataLaunch& launch);

/// The class path without folders that only held archives, as the value of java.class.path; what
/// lies below the folder is named by %kvf.file.dir%.
std::string classPathOfArchives(const std::vector<std::string>& classPath,
                                const std::filesystem::path& folder);

/// The text for _JAVA_OPTIONS that makes a JVM write the archive at its end, whatever its other
/// options are, and tell about it in the log file. Nothing when the path cannot be written there.
std::optional<std::string> archiveWritingOptions(const std::filesystem::path& archive,
                                                 const std::filesystem::path& log);

/// What the JVM complained about in its log of class-data sharing, in words that say what to change
/// where that is known; empty when it did not complain.
std::string complaintInLog(std::string_view log);

/// Whether a start of the launch would take its start class from the archive; it is asked of the
/// JVM, without running the application.
struct ClassDataAcceptance {
  bool accepted = false;
  std::string complaint;  ///< why not, as far as the JVM tells
};
ClassDataAcceptance acceptanceOf(const std::filesystem::path& archive,
                                 const ClassDataLaunch& launch,
                                 const std::filesystem::path& scratchFolder);

#endif
