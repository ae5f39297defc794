#ifndef VELOX_KVF_IMPORT_JAVACOMMANDLINE_H
#define VELOX_KVF_IMPORT_JAVACOMMANDLINE_H

#include <optional>
#include <string>
#include <vector>

#include "kvf/import/JavaStart.h"

/// What the program java makes of its words.
struct JavaCommandLine {
  enum class Kind { startClass, archive, module };

  Kind kind = Kind::startClass;
  SourcedWord what;  ///< the class, the archive, or the module and perhaps its class
  std::vector<SourcedWord> options;      ///< of the JVM, one word each, as java passes them on
  std::optional<SourcedWord> classPath;  ///< that was given; patterns are replaced
  std::vector<SourcedWord> arguments;    ///< of the application
  std::string library;                   ///< another JVM of the same home; empty: the usual one
  /// What the file cannot carry over, and why, in sentences.
  std::vector<std::string> losses;
  /// What a reader may wonder about.
  std::vector<std::string> notes;
};

/// Reads the words as java does: argument files, JDK_JAVA_OPTIONS, patterns in the class path.
/// Throws ImportError for words with which java starts no application, and FileError for a file
/// that cannot be read.
JavaCommandLine readJavaCommandLine(const JavaStart& start);

#endif
