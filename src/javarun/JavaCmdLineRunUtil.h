#ifndef VELOX_JAVARUN_JAVACMDLINERUNUTIL_H
#define VELOX_JAVARUN_JAVACMDLINERUNUTIL_H

#include <vector>

#include "javarun/JavaParameterParser.h"

/// The `java` executable: java.path, else the one in JAVA_HOME, else "java" along PATH. With
/// `quoteIfSpace` a command with a space in it comes in double quotes.
WString getJavaCmd(const javaparser::JavaParameterParser& parser, bool quoteIfSpace);

/// The words, each followed by a space; one with a space in it in double quotes. Nothing is
/// escaped.
WString getFullStringFromVector(const std::vector<WString>& words);

/// For each NAME=value the assignment and the export of the text before its last "=", a line each.
WString getAllVeloxEnvFromVector(const std::vector<WString>& entries);

namespace javarunner {

/// Runs the application as a `java` child and waits for it. Returns the raw wait status, or -1,
/// with a message and nothing started, when no start class is configured.
int cmdlineRunJavaProgram(const javaparser::JavaParameterParser& parser);

/// Writes an executable script into the working directory that starts the application with the
/// values of this moment. Returns -1, with a message and nothing written, when no start class is
/// configured; else 0, also when the file cannot be written, which is told.
int generateJavaCmdRunScript(const javaparser::JavaParameterParser& parser);

}  // namespace javarunner

#endif
