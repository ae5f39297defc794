#ifndef VELOX_JAVARUN_JAVAPARAMETERPARSER_H
#define VELOX_JAVARUN_JAVAPARAMETERPARSER_H

#include <vector>

#include "foundation/Properties.h"
#include "foundation/PropertyKeys.h"

namespace javaparser {

/// A JVM option that is a prefix with the value of a property.
struct KeyOption {
  const char* prefix;
  const char* key;
};

inline constexpr KeyOption nativeLibraryOption = {"-Djava.library=", keys::javaLibrary};
inline constexpr KeyOption nativeLibraryPathOption = {"-Djava.library.path=",
                                                      keys::javaLibraryPath};
inline constexpr KeyOption maxHeapSizeOption = {"-Xmx", keys::heapSizeMax};
/// The minimum heap size sets the young generation.
inline constexpr KeyOption minHeapSizeOption = {"-Xmn", keys::heapSizeMin};
inline constexpr KeyOption initialHeapSizeOption = {"-Xms", keys::heapSizeInitial};
inline constexpr KeyOption threadStackSizeOption = {"-Xss", keys::threadStackSize};
inline constexpr KeyOption kvfFileOption = {"-Dwrapper.kvf.file=", keys::kvfFile};

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
  [[nodiscard]] WString getSingleOption(const KeyOption& option) const {
    return getSingleOption(option.prefix, option.key);
  }
  /// These six read one setting each. Interface only.
  [[nodiscard]] WString getMaxHeapSizeOption() const { return getSingleOption(maxHeapSizeOption); }
  [[nodiscard]] WString getMinHeapSizeOption() const { return getSingleOption(minHeapSizeOption); }
  [[nodiscard]] WString getInitalHeapSizeOption() const {
    return getSingleOption(initialHeapSizeOption);
  }
  [[nodiscard]] WString getThreadStackSizeOption() const {
    return getSingleOption(threadStackSizeOption);
  }
  [[nodiscard]] WString getNativeLibraryOption() const {
    return getSingleOption(nativeLibraryOption);
  }
  [[nodiscard]] WString getKvfFileOption() const { return getSingleOption(kvfFileOption); }

  /// Never empty: names the launcher's own process.
  [[nodiscard]] WString getProcessIDOption() const;
  /// Never empty: see ClassPath::of.
  [[nodiscard]] WString getJavaDotClassDotPathOption() const;
  /// Zero or one option. Interface only.
  [[nodiscard]] std::vector<WString> getNativeLibraryPathOptions() const;
  /// The application's arguments.
  [[nodiscard]] std::vector<WString> getJavaArgsProperty() const;
  /// NAME=value for every "velox.env." property.
  [[nodiscard]] std::vector<WString> getEnvProperties() const;
  [[nodiscard]] std::vector<WString> getExtendJavaOptions() const;
  /// -Dname=value for every "java.property." property.
  [[nodiscard]] std::vector<WString> getJavaDotPropertyOptions() const;

  /// The text of an extended class path. Interface only.
  [[nodiscard]] WString expandClassPath(const WString& classPath) const;
  /// See CommonTool::expandDirToClassPath. Interface only.
  [[nodiscard]] WString expandDirToClassPath(const WString& dir) const;

 private:
  const Properties& properties_;
};

/// Where the option list of the JVM in this process differs from that of an external `java`.
struct RunOptionScope {
  /// The user's own system properties and extended options; an adjuster runs without them.
  bool withUserOptions = true;
  /// Passed on as wrapper.binary.path unless it is empty.
  WString serviceBinaryPath = {};
};

/// The complete JVM option list, in its fixed order. The system properties come first, in the
/// enumeration order of the set, which a copy of it may change. Nothing is de-duplicated.
std::vector<WString> getAllJavaRunOption(const JavaParameterParser& parser,
                                         const RunOptionScope& scope = {});

/// Appends copies of the elements to the list.
void appendElementToVector(std::vector<WString>& list, const std::vector<WString>& elements);

}  // namespace javaparser

#endif
