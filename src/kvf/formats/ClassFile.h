#ifndef VELOX_KVF_FORMATS_CLASSFILE_H
#define VELOX_KVF_FORMATS_CLASSFILE_H

#include <optional>
#include <string_view>
#include <vector>

struct ClassMethod {
  std::string_view name;        ///< "main"
  std::string_view descriptor;  ///< "([Ljava/lang/String;)V"
  unsigned accessFlags = 0;

  [[nodiscard]] bool isPublic() const { return (accessFlags & 0x0001U) != 0; }
};

/// What a module says about itself.
struct ModuleDeclaration {
  std::string_view name;                   ///< "com.acme"
  std::vector<std::string_view> required;  ///< modules that it requires
  bool provides = false;                   ///< services, for others to find
  std::string_view mainClass;              ///< "com/acme/Main"; empty: it names none
};

/// What a launch needs to know of a compiled class. The texts are in the JVM's modified UTF-8 and
/// lie inside the bytes that were parsed.
struct ClassFile {
  unsigned majorVersion = 0;
  std::string_view name;       ///< "com/acme/Main"
  std::string_view superName;  ///< empty only for java/lang/Object
  std::vector<ClassMethod> staticMethods;
  std::optional<ModuleDeclaration> module;  ///< of a module-info.class

  /// The static method of this name and descriptor; null when there is none.
  [[nodiscard]] const ClassMethod* staticMethod(std::string_view methodName,
                                                std::string_view descriptor) const;
};

/// Reads the declarations of a class file and skips its code; nothing when the bytes are no
/// complete class file. Takes any bytes: time and memory are linear in their number.
/// REQUIRES: the bytes outlive the result.
std::optional<ClassFile> parseClassFile(std::string_view bytes);

/// The oldest Java release that loads classes of this major version: 52 -> 8, 61 -> 17; 0 for
/// versions that no release has.
unsigned javaReleaseOf(unsigned majorVersion);

#endif
