#ifndef VELOX_KVF_CDS_CLASSDATAARCHIVE_H
#define VELOX_KVF_CDS_CLASSDATAARCHIVE_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the header of a class-data archive (-XX:SharedArchiveFile) says.
struct ClassDataArchive {
  bool dynamic = false;     ///< of an application, on top of the JVM's own; else a whole one
  std::string jvmIdentity;  ///< of the JVM that wrote it, with version and build; may be empty
};

/// Reads the header from the first bytes of the file (4 KiB are enough); nothing when it is not
/// one. Takes any bytes.
std::optional<ClassDataArchive> parseClassDataArchive(std::string_view bytes);

/// Why the JVM would not use the archive for this class path, in sentences; none when nothing
/// speaks against it. Starts nothing, so an empty result does not prove that the archive fits: a
/// JVM compares options as well. Reads all of the archive and of the JVM's library, as there is no
/// manifest. The class path has one element each, absolute and in order.
std::vector<std::string> classDataMisfits(const std::filesystem::path& archive,
                                          const std::filesystem::path& jvmLibrary,
                                          const std::vector<std::string>& classPath);

/// The files that the last -XX:SharedArchiveFile among the options names; none without such an
/// option.
std::vector<std::string> sharedArchiveFiles(const std::vector<std::string>& options);

/// The file that the last -XX:AOTCache among the options names; empty: none.
std::string aheadOfTimeCache(const std::vector<std::string>& options);

#endif
