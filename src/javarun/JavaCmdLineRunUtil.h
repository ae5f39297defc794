#ifndef VELOX_JAVARUN_JAVACMDLINERUNUTIL_H
#define VELOX_JAVARUN_JAVACMDLINERUNUTIL_H

#include <vector>

#include "javarun/JavaParameterParser.h"

/// The `java` executable: java.path, else the one in JAVA_HOME, else "java" along PATH. With
/// `quoteIfSpace` a command with a space in it comes in double quotes.
WString getJavaCmd(const javaparser::JavaParameterParser& parser, bool quoteIfSpace);

/// Joins the words, each followed by a space. A word that contains a space is put in double quotes;
/// nothing is escaped.
WString getFullStringFromVector(const std::vector<WString>& words);

/// Two lines for each NAME=value: the assignment, and the export of the text before its last "=".
WString getAllVeloxEnvFromVector(const std::vector<WString>& entries);

namespace javarunner {

/// Runs the application as a `java` child and waits for it. Returns the raw wait status, or -1,
/// with a message and nothing started, when no start class is configured.
int cmdlineRunJavaProgram(const javaparser::JavaParameterParser& parser);

/// Writes an executable script into the working directory that starts the application with the
/// values of this moment. Returns -1, with a message and nothing written, when no start class is
/// configured; else 0, also when the file cannot be written, which is reported.
int generateJavaCmdRunScript(const javaparser::JavaParameterParser& parser);

}  // namespace javarunner

#endif
