#ifndef VELOX_KVF_IMPORT_JAVASTART_H
#define VELOX_KVF_IMPORT_JAVASTART_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kvf/jvm/JvmSearch.h"

/// A word, and where it comes from: "word 3", "options:2".
struct SourcedWord {
  std::string text;
  std::string from;
};

/// How an application is started with the program java, before java has looked at it.
struct JavaStart {
  std::string origin;                              ///< "process 4711"
  std::vector<SourcedWord> words;                  ///< those after java
  std::string directory;                           ///< absolute
  std::map<std::string, std::string> environment;  ///< all that java finds
  /// The part of it that the start itself sets, or the JVM looks at; the rest comes from the
  /// caller.
  std::map<std::string, std::string> variables;
  std::vector<std::string> leftOut;  ///< variables of the start that belong to a session
  std::string program;               ///< the file of java
  std::string user;  ///< as whom it runs, a name or number; empty: root, or whoever starts it
  std::optional<Jvm> jvm;
  std::vector<std::string> losses;  ///< what of it is not known, in sentences
  std::vector<std::string> notes;   ///< what no properties file can set, in sentences
};

/// Of a command line that is typed here: `java` with its words, in front of it variables
/// (NAME=value), `env`, `exec` or `nohup`. All of these throw ImportError.
JavaStart typedStart(const std::vector<std::string>& commandLine);

/// Of a running JVM, from what the system knows about its process. Throws FileError where this user
/// may not look.
JavaStart startOfProcess(int process);

/// Of the ExecStart= of a service unit, given by its file or by a name that is looked for where
/// systemd looks.
JavaStart startOfUnit(const std::string& file);

#endif
