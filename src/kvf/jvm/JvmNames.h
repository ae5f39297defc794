#ifndef VELOX_KVF_JVM_JVMNAMES_H
#define VELOX_KVF_JVM_JVMNAMES_H

#include <filesystem>
#include <string>
#include <string_view>

/// The names of flags and options that stand in the library of a JVM: one that does not is none
/// that it knows.
class JvmNames {
 public:
  /// Reads the file when the first name is asked for.
  explicit JvmNames(std::filesystem::path library);

  /// True when the JVM surely does not know a flag of that name, "UseFoo". Of other libraries than
  /// those of the OpenJDK's JVM nothing is sure, nor after a hundred names.
  [[nodiscard]] bool lacksFlag(std::string_view name);
  /// The same for an option up to its value: "-Xfoo", "--add-foo".
  [[nodiscard]] bool lacksOption(std::string_view name);

 private:
  [[nodiscard]] bool mayLookFor();

  std::filesystem::path library_;
  std::string text_;
  bool isRead_ = false;
  bool isKnownKind_ = false;
  unsigned left_ = 100;  ///< names to look for, each through megabytes
};

#endif
