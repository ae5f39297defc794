#ifndef VELOX_JAVARUN_CLASSPATH_H
#define VELOX_JAVARUN_CLASSPATH_H

#include <optional>
#include <string_view>
#include <vector>

#include "foundation/Properties.h"
#include "foundation/PropertyKeys.h"

/// The class path of a Java application: from the settings to the value of the option.
///
/// velox.class.path.extended is a list of entries between ":" or ";". An entry that names an
/// archive stays as it is. Any other is a directory: the archives in it follow it on the class
/// path, with "/**" at its end also those below it, within two limits.

/// What the class path follows in the option of the JVM.
inline constexpr std::string_view classPathOption = "-Djava.class.path=";

/// A limit of the search for archives. It is read from the leading digits of a property.
struct ArchiveLimit {
  const char* key;
  int standard;           ///< without the property
  int max;                ///< and 1 is the least
  const char* fatalText;  ///< ends the launch when the property is out of range

  /// Nothing when the property is out of range.
  [[nodiscard]] std::optional<int> in(const Properties& properties) const;
};

/// The deepest directory level of a search; the directory itself is level 1.
inline constexpr ArchiveLimit searchLevelLimit = {keys::classPathSearchLevel, 4, 12,
                                                  "extend class path search level not validate"};
/// The most files with the name of an archive that one entry is searched for.
inline constexpr ArchiveLimit archiveCountLimit = {keys::classPathMaxLibNumber, 4096, 8192,
                                                   "extend class path max lib number not validate"};
/// In the order in which they are read.
inline constexpr ArchiveLimit archiveLimits[] = {searchLevelLimit, archiveCountLimit};

/// The process-wide limits of a search.
class CommonConfig {
 public:
  static int searchLevel;         ///< directory levels; its standard until it is read
  static int libNumberOfOnePath;  ///< archives of one entry; its standard until it is read

  /// Reads both; one that is out of range ends the process with its message.
  static void initConfig(const SimpleProperties& props);
};

/// An entry of the extended class path.
struct ClassPathEntry {
  WString path;                        ///< as it is written, without a slash at its end
  bool isSearched = false;             ///< it names no archive
  bool isRecursive = false;            ///< it ends with "**"
  WString directory = {};              ///< that is searched
  std::vector<WString> archives = {};  ///< that the search brings, as full paths in reading order
};

/// The entries of a list, in order. Nothing is searched yet.
std::vector<ClassPathEntry> classPathEntries(std::string_view list);

/// The same with the archives of each. What cannot be read brings none.
std::vector<ClassPathEntry> expandedClassPath(std::string_view list);

/// Each entry and archive, with ":" after each.
WString joinedClassPath(const std::vector<ClassPathEntry>& entries);

/// Where a launch has its class path from.
enum class ClassPathSource { extended, plain, environment, none };

struct ClassPath {
  ClassPathSource source;
  WString text;  ///< of the option; "." for none

  /// The first there is: the extended class path, expanded; java.class.path; CLASSPATH.
  static ClassPath of(const Properties& properties);
};

/// Stateless utilities of the launch paths.
class CommonTool {
 public:
  /// The directory as given, and after a ":" each archive that a search of it as a class path entry
  /// brings. Interface only.
  static WString expandDirToClassPath(const WString& dir);

  /// The pieces between separators, empty ones included; but nothing after a trailing separator.
  static std::vector<WString> splitEx(const WString& text, const WString& separator);

  /// True when the text holds the space character; other white space does not count.
  static bool isContainsSpace(const char* text);
};

#endif
