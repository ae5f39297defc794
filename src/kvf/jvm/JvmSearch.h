#ifndef VELOX_KVF_JVM_JVMSEARCH_H
#define VELOX_KVF_JVM_JVMSEARCH_H

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// A JVM of this machine, as its files describe it; nothing is started.
struct Jvm {
  std::filesystem::path home;     ///< the way to it that is likeliest to survive an update
  std::filesystem::path library;  ///< libjvm.so below `home`
  std::filesystem::path java;     ///< bin/java below `home`; empty when there is none
  std::string version;            ///< "17.0.15", "1.8.0_392"; empty when no file says it
  unsigned release = 0;           ///< 17, 8; 0 when no file says it
  std::string vendor;             ///< "Debian"; empty when no file says it
  std::string foundBy;            ///< "JAVA_HOME", "PATH" or the folder
  std::vector<std::filesystem::path> homes;  ///< every way to it that was found, `home` included
};

/// Where to look. Empty texts stand for unset variables.
struct JvmPlaces {
  std::string javaHome;  ///< JAVA_HOME
  std::string path;      ///< PATH
  /// Folders of which each, or each entry of which, may be a JVM's home.
  std::vector<std::filesystem::path> folders;
};

/// JAVA_HOME, PATH and the usual folders of distributions and tool managers, from the environment
/// of this process.
JvmPlaces usualJvmPlaces();

/// Every JVM of the places, newest first; one that is reached in several ways is listed once.
std::vector<Jvm> findJvms(const JvmPlaces& places);

/// The JVM whose home this folder is, or nothing.
std::optional<Jvm> jvmAt(const std::filesystem::path& home);

/// The JVM that this file is the library of ("/usr/lib/jvm/x/lib/server/libjvm.so"), or nothing.
std::optional<Jvm> jvmOfLibrary(const std::filesystem::path& library);

/// The modules of the JVM itself; empty when no file lists them.
std::set<std::string, std::less<>> modulesOf(const Jvm& jvm);

/// The release of a version text: "17.0.15" -> 17, "1.8.0_392" -> 8, "" -> 0.
unsigned releaseOfVersion(std::string_view version);

#endif
