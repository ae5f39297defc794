#ifndef VELOX_KVF_JVM_JVMNAMES_H
#define VELOX_KVF_JVM_JVMNAMES_H

#include <filesystem>
#include <string>
#include <string_view>

/// The names of flags and options in the library of a JVM: it does not know one that is not there.
class JvmNames {
 public:
  /// Reads the file when the first name is asked for.
  explicit JvmNames(std::filesystem::path library);

  /// True when the JVM surely does not know a flag of that name, "UseFoo". Nothing is sure for
  /// libraries other than those of OpenJDK's JVM, nor after fifty names.
  [[nodiscard]] bool lacksFlag(std::string_view name);
  /// The same for a tag of its log.
  [[nodiscard]] bool lacksTag(std::string_view tag) { return lacksFlag(tag); }
  /// The same for an option up to its value: "-Xfoo", "--add-foo".
  [[nodiscard]] bool lacksOption(std::string_view name);

 private:
  [[nodiscard]] bool mayLookFor();

  std::filesystem::path library_;
  std::string text_;
  bool isRead_ = false;
  bool isKnownKind_ = false;
  unsigned left_ = 50;  ///< names to look for, each in megabytes
};

#endif
