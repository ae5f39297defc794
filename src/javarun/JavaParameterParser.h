#ifndef VELOX_JAVARUN_JAVAPARAMETERPARSER_H
#define VELOX_JAVARUN_JAVAPARAMETERPARSER_H

#include <vector>

#include "foundation/Properties.h"

namespace javaparser {

/// Reads the Java launch settings of a property set as pieces of a `java` command line. It owns
/// nothing and reads the set afresh at every call. An absent key gives an empty text or list; an
/// option of a key with an empty value is the bare prefix.
///
/// REQUIRES: the property set outlives the parser.
class JavaParameterParser {
 public:
  explicit JavaParameterParser(const Properties& properties) : properties_(properties) {}

  [[nodiscard]] WString getJavaPathProperty() const;
  [[nodiscard]] WString getStartClassProperty() const;
  [[nodiscard]] WString getKvfFileProperty() const;
  [[nodiscard]] WString getNativeLibraryProperty() const;

  /// The prefix with the key's value, or the empty text when the key is absent.
  [[nodiscard]] WString getSingleOption(const WString& prefix, const WString& key) const;
  [[nodiscard]] WString getMaxHeapSizeOption() const;
  /// The minimum heap size sets the young generation ("-Xmn").
  [[nodiscard]] WString getMinHeapSizeOption() const;
  [[nodiscard]] WString getInitalHeapSizeOption() const;
  [[nodiscard]] WString getThreadStackSizeOption() const;
  [[nodiscard]] WString getNativeLibraryOption() const;
  [[nodiscard]] WString getKvfFileOption() const;

  /// Never empty: names the launcher's own process.
  [[nodiscard]] WString getProcessIDOption() const;
  /// Never empty: the extended class path expanded, else the plain one, else CLASSPATH, else ".".
  [[nodiscard]] WString getJavaDotClassDotPathOption() const;
  /// That class path without the last resort; false, with `classPath` untouched, when it is needed.
  bool findClassPath(WString& classPath) const;
  /// Zero or one option.
  [[nodiscard]] std::vector<WString> getNativeLibraryPathOptions() const;
  /// The application's arguments.
  [[nodiscard]] std::vector<WString> getJavaArgsProperty() const;
  /// NAME=value for every "velox.env." property.
  [[nodiscard]] std::vector<WString> getEnvProperties() const;
  [[nodiscard]] std::vector<WString> getExtendJavaOptions() const;
  /// -Dname=value for every "java.property." property.
  [[nodiscard]] std::vector<WString> getJavaDotPropertyOptions() const;

  /// Archives stay, directories are replaced by themselves and the archives in them. ":" and ";"
  /// both separate; the result ends with ":" unless it is empty.
  [[nodiscard]] WString expandClassPath(const WString& classPath) const;
  /// See CommonTool::expandDirToClassPath.
  [[nodiscard]] WString expandDirToClassPath(const WString& dir) const;

 private:
  const Properties& properties_;
};

}  // namespace javaparser

#endif
