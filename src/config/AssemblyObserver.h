#ifndef VELOX_CONFIG_ASSEMBLYOBSERVER_H
#define VELOX_CONFIG_ASSEMBLYOBSERVER_H

#include <cstddef>
#include <string_view>

#include "config/PropertiesText.h"
#include "foundation/WString.h"

struct PropertiesEntry;

/// An argument as the scan of the command line takes it.
struct ScannedArgument {
  int index;               ///< 0 is the program
  const char* switchName;  ///< null when the text is no known switch
  const char* value;       ///< the argument after a switch, or null when there is none
  bool valueConsumed;      ///< the value is not scanned as an argument of its own
};

/// Where the replacement of a %reference% comes from, in the order of the search.
enum class VariableSource {
  definition,   ///< "--propVar"
  environment,  ///< the process environment
  entries,      ///< the entries of this file so far
  context,      ///< those of the including file, or of the main file for global.kvf
  nothing       ///< nowhere: the reference disappears
};

struct ReplacedReference {
  const WString& name;
  VariableSource source;
  const WString& replacement;
  std::size_t at;  ///< where it stood in the value as it was at that moment
};

/// Why a properties file ends the assembly.
enum class FileFailure {
  notOpened,
  tooDeep,         ///< too many levels of includes
  tooMany,         ///< too many included files
  tooManyEntries,  ///< in the files that are open
  tooLarge         ///< too much text, or too many entries in all
};

/// Watches how the property set comes about, for programs that explain it. As it is, it watches
/// nothing and refuses nothing.
///
/// Texts are valid during the call. What an observer refuses is skipped, and the assembly goes on
/// without it.
class AssemblyObserver {
 public:
  AssemblyObserver() = default;
  AssemblyObserver(const AssemblyObserver&) = delete;
  AssemblyObserver& operator=(const AssemblyObserver&) = delete;

  virtual void argumentScanned(const ScannedArgument& /*argument*/) {}

  /// Yields a properties file, for observers that have its text from elsewhere.
  virtual PropertiesText readFile(const char* name) { return readPropertiesText(name); }
  /// A properties file was read; it is parsed now, unless this refuses. Offsets of what follows,
  /// up to fileLeft, refer to the text, in which a NUL ends the part that is parsed.
  virtual bool fileEntered(const WString& /*name*/, std::string_view /*text*/) { return true; }
  /// A file was opened and yields nothing: it cannot be read to its end or is too large.
  virtual void fileUnread(const WString& /*name*/) {}
  virtual void fileLeft() {}
  /// A fatal message of this reason follows.
  virtual void fileFails(FileFailure /*why*/) {}

  /// A line without a separator is dropped.
  virtual void lineDropped(std::size_t /*offset*/) {}
  /// A backslash made a control character of the t, r or n at the offset.
  virtual void controlEscaped(std::size_t /*offset*/) {}
  /// An entry before substitution; it is stored unless this refuses.
  virtual bool entryScanned(const PropertiesEntry& /*entry*/) { return true; }
  /// A reference in the value of the latest entry was replaced.
  virtual void referenceReplaced(const ReplacedReference& /*reference*/) {}
  /// The latest entry includes this file.
  virtual void includeFound(const WString& /*name*/) {}
  /// The latest entry has this value.
  virtual void entryStored(const WString& /*key*/, const WString& /*value*/) {}
  /// The latest entry is going to be exported: a second substitution may follow.
  virtual void exportBegins() {}
  virtual void variableExported(std::string_view /*name*/, const WString& /*value*/) {}

  /// The global file was found; it is read unless this refuses.
  virtual bool globalFileFound(const WString& /*name*/) { return true; }
  /// An entry of the global file was taken, or not since the main file has a value.
  virtual void globalEntryMerged(const WString& /*key*/, bool /*taken*/) {}

 protected:
  ~AssemblyObserver() = default;
};

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): it has no derived classes
class NoObserver final : public AssemblyObserver {};

/// What a launch has.
inline constinit NoObserver noObserver;

#endif
