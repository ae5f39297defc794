#ifndef VELOX_KVF_EXPLAIN_LAUNCHEXPLANATION_H
#define VELOX_KVF_EXPLAIN_LAUNCHEXPLANATION_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kvf/explain/Explanation.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/launch/Inspection.h"

/// What `kvf explain` says about a launch, or about one key, however it is printed.

/// Why the launch would end before the application runs.
struct ExplainedEnd {
  std::string place;
  std::string text;     ///< what is wrong
  std::string message;  ///< the launcher's own message; empty: it has none
  const char* rule;     ///< that finds it
};

/// An element of the class path as it is written, and what it is expanded to.
struct ExplainedElement {
  struct Part {
    std::string path;
    std::string brings;
    bool isSearched;  ///< the folder itself, which stays in front of what was found in it
  };

  std::string written;
  std::vector<Part> parts;
};

struct ExplainedClassPath {
  std::string origin;
  std::vector<ExplainedElement> elements;
  bool endsWithDirectory;  ///< the working directory is its last element
};

struct ExplainedJvm {
  std::string library;  ///< as it is configured
  std::string place;
  std::optional<Jvm> found;
};

/// The same launch with the program java.
struct ExplainedCommand {
  std::string text;       ///< for any POSIX shell
  std::string printable;  ///< in one line for a terminal
  std::vector<std::string> differences;
};

struct LaunchExplanation {
  std::vector<ExplainedEnd> ends;
  std::vector<ExplainedProperty> properties;
  std::string directory;
  std::map<std::string, std::string> environment;
  std::optional<ExplainedClassPath> classPath;
  std::optional<ExplainedJvm> jvm;
  std::vector<std::string> options;
  std::vector<std::string> arguments;
  std::optional<ExplainedCommand> command;
};

struct KeyExplanation {
  std::string key;
  std::optional<std::string> value;
  std::vector<ExplainedEntry> chain;
  std::vector<std::string> users;
};

/// A native application has no class path, JVM, options and command.
LaunchExplanation explainLaunch(const Inspection& inspection);

/// The chain is empty when nothing defines the key.
KeyExplanation explainOneKey(const Inspection& inspection, const std::string& key);

#endif
