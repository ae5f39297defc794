#ifndef VELOX_KVF_LAUNCH_ASSEMBLYRUN_H
#define VELOX_KVF_LAUNCH_ASSEMBLYRUN_H

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "config/AssemblyObserver.h"
#include "config/CommandLine.h"
#include "config/PropertiesLocation.h"
#include "foundation/Properties.h"
#include "kvf/launch/SourceFile.h"

/// A %reference% in a value.
struct Reference {
  std::string name;
  VariableSource source = VariableSource::nothing;
  std::string replacement;
  bool inReplacement = false;   ///< it was in the replacement of an earlier reference
  bool whileExporting = false;  ///< by the second substitution, of an exported variable
};

/// One entry of a file.
struct Entry {
  Position at;
  std::string key;
  std::string written;  ///< the value before substitution
  std::string value;
  std::size_t rawAt = 0, rawEnd = 0;  ///< what follows the key up to the line end
  bool endedByLineEnd = true;
  bool isInclude = false;
  bool global = false;
  bool skipped = false;  ///< left out of the assembly, since the launch would end here
  std::optional<std::string> exported;  ///< the value that the environment gets
  std::vector<Reference> references;

  /// The variable that the entry sets in the environment; empty: none.
  [[nodiscard]] std::string_view variable() const;
};

struct Argument {
  std::string text;
  const char* switchName = nullptr;  ///< null: no known switch
  bool hasValue = false;
  bool valueConsumed = false;
  bool isValue = false;  ///< taken by the switch before it

  [[nodiscard]] bool isUnknownSwitch() const;
};

/// Where the launch would end with a message, or the inspection stops.
struct Failure {
  enum class Stage {
    mainFile,
    include,
    substitution,
    expansion,  ///< references bring too much text for the inspection, not for the launch
    globalFile,
    limits
  };

  Stage stage = Stage::mainFile;
  Position at;
  std::string message;                       ///< the launcher's
  FileFailure why = FileFailure::notOpened;  ///< of an include
};

/// One assembly of the property set.
struct AssemblyRun {
  std::vector<SourceFile> files;
  std::deque<Entry> entries;  ///< in the order of reading
  std::vector<Argument> arguments;
  std::vector<Position> droppedLines;
  std::vector<Position> controlEscapes;
  std::vector<Position> includeCycles;
  std::vector<Failure> failures;
  bool tooMuch = false;                    ///< there are more files than were looked at
  bool incomplete = false;                 ///< nothing is known after the last failure
  std::string globalFile;                  ///< empty: there is none
  std::map<std::string, bool> globalKeys;  ///< whether the entry of global.kvf was taken
  /// The last stored definition of a key, of global.kvf and of the other files.
  std::unordered_map<std::string, std::size_t> lastInGlobal, lastInFiles;
  CommandLine line;
  PropertiesLocation location;
  SimpleProperties merged;
};

#endif
