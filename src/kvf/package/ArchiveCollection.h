#ifndef VELOX_KVF_PACKAGE_ARCHIVECOLLECTION_H
#define VELOX_KVF_PACKAGE_ARCHIVECOLLECTION_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "kvf/formats/Manifest.h"

/// An archive of an application, and the file name it gets in the one folder for all of them.
struct CollectedArchive {
  std::filesystem::path source;
  std::string name;
};

/// What `java -jar` would put on the class path, gathered for a folder of its own.
class ArchiveCollection {
 public:
  /// Adds the archive and those that its Class-Path names and so on, each file once: after it as
  /// the JVM has them, but in front of it those that are named by an absolute path. What cannot be
  /// copied is in notes().
  void add(const std::filesystem::path& archive);
  /// Adds the .jar and .zip files of the folder by name.
  void addFolder(const std::filesystem::path& folder);

  [[nodiscard]] const std::vector<CollectedArchive>& archives() const { return archives_; }
  /// Sentences for the user.
  [[nodiscard]] const std::vector<std::string>& notes() const { return notes_; }

  /// The bytes of "com/acme/Main" from the first archive that has it.
  [[nodiscard]] std::optional<std::string> classBytes(const std::string& className) const;

 private:
  [[nodiscard]] std::string freeName(const std::filesystem::path& file) const;

  std::vector<std::filesystem::path> seen_;
  std::vector<CollectedArchive> archives_;
  std::vector<std::string> notes_;
};

#endif
