#ifndef VELOX_KVF_LAUNCH_CLASSPATHSCAN_H
#define VELOX_KVF_LAUNCH_CLASSPATHSCAN_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kvf/formats/Archive.h"

/// An element of the class path as it is written, and the elements it becomes.
struct ClassPathElement {
  std::string written;
  bool searched = false;  ///< a folder that adds its archives
  std::vector<std::string> expanded;
  std::string place = {};  ///< the folder that is searched, or the file or folder
  bool recursive = false;  ///< the folder is searched with those below it
};

/// What there is at one element of the expanded class path.
struct ScannedElement {
  enum class Kind { missing, folder, archive };

  std::string path;  ///< absolute
  Kind kind = Kind::missing;
  ArchiveState state = ArchiveState::readable;  ///< of an archive
  std::uint64_t entries = 0;                    ///< of a readable archive
};

/// A class as the class path yields it.
struct FoundClass {
  std::string where;  ///< the archive or folder
  std::string bytes;
};

/// What the class path of a launch holds, from the directories of its archives.
class ClassPathScan {
 public:
  /// Looks at every element, relative ones below the directory. With an empty element in the class
  /// path, classes also come from the directory itself. `startClass` is looked for on the way; it
  /// may be empty, and have dots or slashes.
  ClassPathScan(const std::vector<ClassPathElement>& classPath, const std::string& directory,
                const std::string& startClass, bool hasEmptyElement = false);

  /// In the order of the expanded class path, without empty ones.
  [[nodiscard]] const std::vector<ScannedElement>& elements() const { return elements_; }
  [[nodiscard]] const std::optional<FoundClass>& startClass() const { return startClass_; }

  /// A class by its name with slashes, also in archives that a manifest's Class-Path names, and
  /// where only some releases of Java find it in an archive.
  [[nodiscard]] std::optional<FoundClass> find(const std::string& name) const;
  /// The class of the class path whose name is nearest, with dots; empty: none is near.
  [[nodiscard]] std::string nearest(const std::string& name) const;

 private:
  /// Looks where no element leads by itself.
  [[nodiscard]] std::optional<FoundClass> findBehind(const std::string& entry) const;
  /// Follows the Class-Path of the manifests.
  [[nodiscard]] std::optional<FoundClass> findByManifests(const std::string& entry) const;

  std::vector<ScannedElement> elements_;
  std::optional<ScannedElement> directory_;  ///< that an empty element stands for
  std::optional<FoundClass> startClass_;
};

#endif
