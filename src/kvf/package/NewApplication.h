#ifndef VELOX_KVF_PACKAGE_NEWAPPLICATION_H
#define VELOX_KVF_PACKAGE_NEWAPPLICATION_H

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kvf/import/JavaStart.h"
#include "kvf/jvm/JvmChoice.h"

/// Why a folder cannot be made; the text is a sentence for the user.
struct NewApplicationError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct NewApplicationRequest {
  std::filesystem::path directory;          ///< to be made
  std::vector<std::filesystem::path> jars;  ///< in the order of the class path
  std::filesystem::path libraries;          ///< folder with more archives; empty: none
  std::string name;        ///< empty: the first jar's name without its version, or the start's
  std::string startClass;  ///< empty: Main-Class of a jar, or its only class with a main
  JavaReleases releases;   ///< of the JVM of this machine
  std::optional<JavaStart> start;  ///< in place of jars: what java starts there
  std::filesystem::path runtime;   ///< a Java runtime to ship; empty: one of this machine
  std::filesystem::path launcher;  ///< the program to copy
  bool force = false;              ///< write into a folder that already exists
};

/// What was made, and what the user should know, in sentences.
struct NewApplication {
  std::string name;
  std::vector<std::string> notes;
  bool isComplete = true;  ///< false: not all of a start could be carried over
};

/// Makes the folder of an application (see ApplicationFolder) that can be moved, copied and started
/// from anywhere; what a start
/// names stays where it is. Throws ImportError, NewApplicationError or
/// FileError when it cannot, and then everything is as it was; see FolderUpdate.
NewApplication makeApplication(const NewApplicationRequest& request);

/// "acme" for "/x/acme-1.2.jar".
std::string nameForArchive(const std::filesystem::path& jar);

#endif
