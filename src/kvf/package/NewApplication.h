#ifndef VELOX_KVF_PACKAGE_NEWAPPLICATION_H
#define VELOX_KVF_PACKAGE_NEWAPPLICATION_H

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

/// Why a folder cannot be made; the text is a sentence for the user.
struct NewApplicationError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct NewApplicationRequest {
  std::filesystem::path directory;  ///< to be made
  std::filesystem::path jar;
  std::filesystem::path libraries;  ///< folder of more archives; empty: none
  std::string name;                 ///< empty: the jar's name without its version
  std::string startClass;           ///< empty: Main-Class of the jar
  std::filesystem::path runtime;    ///< a Java runtime to ship; empty: one of this machine
  std::filesystem::path launcher;   ///< the program to copy
  bool force = false;               ///< write into a folder that is there already
};

/// Makes the folder of an application (see ApplicationFolder) that can be moved, copied and started
/// from anywhere. Returns what the user should know, in sentences. Throws NewApplicationError or
/// FileError when it cannot, and then everything is as it was; see FolderUpdate.
std::vector<std::string> makeApplication(const NewApplicationRequest& request);

/// "acme" for "/x/acme-1.2.jar".
std::string nameForArchive(const std::filesystem::path& jar);

#endif
