#ifndef VELOX_KVF_EXPLAIN_EXPLANATION_H
#define VELOX_KVF_EXPLAIN_EXPLANATION_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/launch/Inspection.h"

/// Where a value was written, and what it was there.
struct Source {
  std::string place;  ///< "FILE:LINE", "command line" or "built in"
  std::string value;
};

struct ExplainedReference {
  std::string name;
  std::string value;
  std::string from;  ///< "FILE:LINE", "--propVar", "environment", or "nowhere"
};

struct ExplainedEntry {
  Source source;
  std::string written;  ///< before substitution
  std::vector<ExplainedReference> references;
  bool used = false;
};

/// One property, with everything that decided its value.
struct ExplainedProperty {
  std::string key;
  Source origin;
  std::vector<Source> overrode;    ///< in the order of reading
  std::vector<std::string> users;  ///< the places that refer to it
};

/// The entry that gave the value of a reference in another one; of an environment variable, the
/// earlier entry that exports it. Null: it is from elsewhere, or nowhere defined.
const Entry* definitionOf(const Inspection& inspection, const Entry& entry,
                          const Reference& reference);
/// "FILE:LINE", "--propVar", "environment", "built in" or "nowhere".
std::string placeOf(const Inspection& inspection, const Entry& entry, const Reference& reference);

/// The properties of a run in the order of their definitions, then those of the command line and of
/// the launcher itself.
std::vector<ExplainedProperty> explainProperties(const Inspection& inspection);

/// Every definition of a key in the order of reading, also those that were overruled.
std::vector<ExplainedEntry> explainKey(const Inspection& inspection, std::string_view key);

/// The places whose values refer to the key.
std::vector<std::string> usersOf(const Inspection& inspection, const std::string& key);

/// What an element of the expanded class path brings, or why it brings nothing.
std::string whatItBrings(const ScannedElement& element);

/// Turns a text into a word for a shell.
using ShellWord = std::string (*)(std::string_view text);

/// The command that starts the application with the program java as the launcher would start it in
/// its own process, with the working directory and the exported variables.
std::string equivalentJavaCommand(const Inspection& inspection, ShellWord word);

/// What the program java would do differently all the same, a sentence without a full stop each.
std::vector<std::string> differencesOfJavaCommand(const Inspection& inspection);

#endif
