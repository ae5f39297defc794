#include "kvf/formats/ClassFile.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t magicNumber = 0xCAFEBABE;
constexpr unsigned staticFlag = 0x0008;
constexpr unsigned firstVersion = 45;

/// Takes big-endian numbers and texts from bytes. Past the end it yields zeros and is not ok.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  [[nodiscard]] bool ok() const { return ok_; }

  std::string_view text(std::size_t length) {
    if (length > rest_.size()) {
      ok_ = false;
      rest_ = {};
      return {};
    }
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }

  std::size_t number(std::size_t width) {
    std::size_t value = 0;
    for (const char c : text(width)) value = value << 8U | static_cast<unsigned char>(c);
    return value;
  }

  unsigned u2() { return static_cast<unsigned>(number(2)); }

 private:
  std::string_view rest_;
  bool ok_ = true;
};

struct Constant {
  std::string_view text;   ///< of a text constant
  unsigned nameIndex = 0;  ///< of a class, module or package
};

enum Tag : unsigned {
  textTag = 1,
  longTag = 5,
  doubleTag = 6,
  classTag = 7,
  moduleTag = 19,
  packageTag = 20
};

/// Bytes that follow the tag of a constant of fixed size; 0 for tags that do not exist.
constexpr std::size_t sizeOfConstant(unsigned tag) {
  constexpr std::size_t sizes[] = {0, 0, 0, 4, 4, 8, 8, 0, 2, 4, 4, 4, 4, 0, 0, 3, 2, 4, 4};
  return tag < std::size(sizes) ? sizes[tag] : 0;
}

class Parser {
 public:
  explicit Parser(std::string_view bytes) : reader_(bytes) {}

  std::optional<ClassFile> parse() {
    ClassFile result;
    if (reader_.number(4) != magicNumber) return std::nullopt;
    reader_.u2();  // minor version
    result.majorVersion = reader_.u2();
    if (!readConstants()) return std::nullopt;
    reader_.u2();  // access flags
    result.name = nameOf(reader_.u2());
    result.superName = nameOf(reader_.u2());
    reader_.text(std::size_t{2} * reader_.u2());  // interfaces
    skipFields();
    readMethods(result);
    readAttributes(result);
    if (!reader_.ok() || result.name.empty()) return std::nullopt;
    return result;
  }

 private:
  bool readConstants() {
    const unsigned count = reader_.u2();
    for (constants_.resize(1); constants_.size() < count && reader_.ok();) {
      const auto tag = static_cast<unsigned>(reader_.number(1));
      Constant constant;
      if (tag == textTag) {
        constant.text = reader_.text(reader_.u2());
      } else if (tag == classTag || tag == moduleTag || tag == packageTag) {
        constant.nameIndex = reader_.u2();
      } else if (const std::size_t size = sizeOfConstant(tag)) {
        reader_.text(size);
      } else {
        return false;
      }
      constants_.push_back(constant);
      if (tag == longTag || tag == doubleTag) constants_.emplace_back();
    }
    return reader_.ok();
  }

  [[nodiscard]] const Constant& constant(unsigned index) const {
    return constants_[index < constants_.size() ? index : 0];
  }

  /// Of a class, module or package.
  [[nodiscard]] std::string_view nameOf(unsigned index) const {
    return constant(constant(index).nameIndex).text;
  }

  void skipAttributes() {
    for (unsigned left = reader_.u2(); left > 0 && reader_.ok(); --left) {
      reader_.u2();
      reader_.text(reader_.number(4));
    }
  }

  ClassMethod readMember() {
    ClassMethod member;
    member.accessFlags = reader_.u2();
    member.name = constant(reader_.u2()).text;
    member.descriptor = constant(reader_.u2()).text;
    skipAttributes();
    return member;
  }

  void skipFields() {
    for (unsigned left = reader_.u2(); left > 0 && reader_.ok(); --left) readMember();
  }

  void readMethods(ClassFile& result) {
    for (unsigned left = reader_.u2(); left > 0 && reader_.ok(); --left) {
      const ClassMethod method = readMember();
      if ((method.accessFlags & staticFlag) != 0) result.staticMethods.push_back(method);
    }
  }

  void readAttributes(ClassFile& result) {
    std::string_view mainClass;
    for (unsigned left = reader_.u2(); left > 0 && reader_.ok(); --left) {
      const std::string_view name = constant(reader_.u2()).text;
      const std::string_view bytes = reader_.text(reader_.number(4));
      if (name == "Module") result.module = readModule(Reader(bytes));
      if (name == "ModuleMainClass") mainClass = nameOf(Reader(bytes).u2());
    }
    if (result.module) result.module->mainClass = mainClass;
  }

  [[nodiscard]] std::optional<ModuleDeclaration> readModule(Reader bytes) const {
    constexpr unsigned staticRequired = 0x0040;
    ModuleDeclaration module;
    module.name = nameOf(bytes.u2());
    bytes.text(4);  // flags and version
    for (unsigned left = bytes.u2(); left > 0 && bytes.ok(); --left) {
      const std::string_view name = nameOf(bytes.u2());
      if ((bytes.u2() & staticRequired) == 0) module.required.push_back(name);
      bytes.u2();  // version
    }
    // Exported and opened packages, each for some modules or for all.
    for (int kind = 0; kind < 2; ++kind) {
      for (unsigned left = bytes.u2(); left > 0 && bytes.ok(); --left) {
        bytes.text(4);
        bytes.text(std::size_t{2} * bytes.u2());
      }
    }
    bytes.text(std::size_t{2} * bytes.u2());  // used services
    module.provides = bytes.u2() > 0;
    if (!bytes.ok() || module.name.empty()) return std::nullopt;
    return module;
  }

  Reader reader_;
  std::vector<Constant> constants_;
};

}  // namespace

const ClassMethod* ClassFile::staticMethod(std::string_view methodName,
                                           std::string_view descriptor) const {
  const auto found =
      std::find_if(staticMethods.begin(), staticMethods.end(), [&](const ClassMethod& method) {
        return method.name == methodName && method.descriptor == descriptor;
      });
  return found == staticMethods.end() ? nullptr : &*found;
}

std::optional<ClassFile> parseClassFile(std::string_view bytes) {
  return Parser(bytes).parse();
}

unsigned javaReleaseOf(unsigned majorVersion) {
  // 45 to 48 are 1.1 to 1.4; every later release has one number of its own.
  return majorVersion < firstVersion ? 0 : std::max(1U, majorVersion - firstVersion + 1);
}
