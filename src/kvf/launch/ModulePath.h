#ifndef VELOX_KVF_LAUNCH_MODULEPATH_H
#define VELOX_KVF_LAUNCH_MODULEPATH_H

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/launch/ClassPathScan.h"

/// A module as the module path yields it.
struct FoundModule {
  std::string name;
  std::string where;                  ///< the archive or folder, absolute
  std::vector<std::string> required;  ///< modules that it requires
  bool isAutomatic = false;           ///< an archive that declares no module
  bool provides = false;              ///< services, for others to find
};

/// What the options of a JVM say about modules, and which of them exist.
class ModulePath {
 public:
  /// True when an option names a module path or modules.
  static bool isSpokenOf(const std::vector<std::string>& options);

  /// Looks at what --module-path names, relative paths below the directory.
  ModulePath(const std::vector<std::string>& options, const std::string& directory);

  /// In the order of the module path; of those with one name the first.
  [[nodiscard]] const std::vector<FoundModule>& modules() const { return modules_; }
  [[nodiscard]] const FoundModule* find(std::string_view name) const;
  /// A class of the module path by its name with slashes.
  [[nodiscard]] std::optional<FoundClass> findClass(const std::string& name) const;
  /// The module at that path; null: none.
  [[nodiscard]] const FoundModule* moduleAt(std::string_view where) const;
  /// The class of the module path whose name is nearest, with dots; empty: none is near.
  [[nodiscard]] std::string nearestClass(const std::string& name) const;
  /// False when the JVM surely starts without the module, since no other asks for it.
  [[nodiscard]] bool mayBeResolved(const FoundModule& module) const;

 private:
  void addElement(const std::string& path);
  void add(FoundModule module);

  std::vector<FoundModule> modules_;
  std::set<std::string, std::less<>> roots_;
  bool allAreRoots_ = false;
  std::optional<ClassPathScan> scan_;
};

/// The elements of the last --module-path=; empty: there is none.
std::string_view modulePathIn(const std::vector<std::string>& options);

/// "com.acme.lib" for "com-acme_lib-1.2.jar", as a JVM names an archive that declares no module.
std::string automaticModuleName(std::string_view fileName);

#endif
