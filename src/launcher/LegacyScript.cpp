#include "launcher/LegacyScript.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "config/VariableSubstitution.h"
#include "foundation/PropertyKeys.h"
#include "foundation/WriteSignalGuard.h"
#include "javarun/ClassPath.h"
#include "platform/Stream.h"

namespace {

constexpr int lineBufferSize = 2000;

/// The line without its first prefix.size() characters, unchecked.
WString after(std::string_view prefix, const WString& line) {
  return line.substr(static_cast<unsigned int>(prefix.size()));
}

/// The position of the first space, or else of the first "=".
unsigned int separatorIn(const WString& line) {
  const unsigned int space = line.find(' ');
  return space != WString::npos ? space : line.find('=');
}

/// The script's pieces, collected line by line.
class ScriptText {
 public:
  explicit ScriptText(const SimpleProperties& properties) : properties_(properties) {}

  void addLine(WString line) {
    if (line.startsWith("#") || line.length() == 1) return;
    // Before the line end is removed: a backslash in front of it takes it along.
    substitute(line, properties_);
    if (line.view().ends_with('\n')) line.erase(line.length() - 1);
    if (!takeFromProperties(line)) addOtherLine(line);
  }

  [[nodiscard]] WString text() const {
    return environment_ + "PATH=" + javaBase_ + "/bin:" + pathAddition_ + "\nexport PATH" +
           "\njava -cp " + classPath_ + systemProperties_ + " " + extendedOptions_ + " " +
           startClass_ + " " + arguments_ + " $*\n";
  }

 private:
  /// Lines of some keys only say that the property is wanted.
  bool takeFromProperties(const WString& line) {
    struct Piece {
      const char* key;
      WString& text;
      bool isClassPath = false;
    };
    const Piece pieces[] = {{keys::startClass, startClass_},
                            {keys::applicationArgs, arguments_},
                            {keys::classPathExtended, classPath_, true},
                            {keys::extendedProperties, extendedOptions_}};
    for (const Piece& piece : pieces) {
      if (!line.contains(piece.key)) continue;
      piece.text = properties_.valueOf(piece.key);
      if (piece.isClassPath) checkClassPath(piece.text);
      return true;
    }
    return false;
  }

  void addOtherLine(WString& line) {
    if (line.contains(keys::javaLibrary)) takeJavaBase(line);
    if (line.contains("velox.env")) {
      addEnvironment(line);
    } else if (line.contains("java.property")) {
      addJavaProperty(line);
    } else {
      addAnyProperty(line);
    }
  }

  /// The JVM library lies four levels below the base: jre/lib/amd64/server/libjvm.so.
  void takeJavaBase(const WString& line) {
    unsigned int separator = line.find('=');
    if (separator == WString::npos) separator = line.find(' ');
    if (separator == WString::npos) return;
    WString path = line.substr(separator + 1);
    for (int level = 0; level < 4; ++level) {
      const unsigned int slash = path.find_last_of('/');
      // No JVM library: another key of the family, such as java.library.path.
      if (slash == WString::npos) return;
      path.erase(slash);
    }
    javaBase_ = path;
  }

  void addEnvironment(WString& line) {
    if (line.substr(0, separatorIn(line)) == "velox.env.PATH") {
      pathAddition_ = after("velox.env.PATH=", line) + "\n";
      return;
    }
    line.replace(line.find(' '), 1, "=");
    environment_ += "export " + after(keys::environmentPrefix, line);
    if (line.contains("LD_LIBRARY_PATH")) {
      environment_ += "\nLIBPATH=" + WString(std::getenv("ZQ_HOME")) +
                      "/lib:" + after("velox.env.LD_LIBRARY_PATH=", line) + "\nexport LIBPATH";
    }
    environment_ += '\n';
  }

  void addJavaProperty(WString& line) {
    line.replace(separatorIn(line), 1, "=\"");
    systemProperties_ += " -D" + after(keys::javaPropertyPrefix, line) + "\" ";
  }

  void addAnyProperty(WString& line) {
    line.replace(line.find('='), 1, " ");
    const unsigned int space = line.find(' ');
    line.replace(space, 1, "=\"");
    systemProperties_ += " -D" + line + (space == WString::npos ? "=\"\"" : "\"");
  }

  const SimpleProperties& properties_;
  WString javaBase_;
  WString pathAddition_;
  WString startClass_;
  WString arguments_;
  WString classPath_;
  WString extendedOptions_;
  WString environment_;
  WString systemProperties_;
};

}  // namespace

void generateScript(const SimpleProperties& properties) {
  const WString fileName = properties.valueOf(keys::scriptArgument);
  Stream input = openStream(fileName.c_str(), "r");
  if (!input) return;

  ScriptText script(properties);
  std::array<char, lineBufferSize> line = {};
  bool anyLine = false;
  while (std::feof(input.get()) == 0) {
    const bool read = std::fgets(line.data(), lineBufferSize, input.get()) != nullptr;
    if (std::ferror(input.get()) != 0) return;
    anyLine = anyLine || read;
    // After a final line feed nothing is read and the last line counts a second time.
    if (anyLine) script.addLine(line.data());
  }
  input.reset();

  const WString scriptName = fileName.substr(0, fileName.find_cstr(".kvf")) + ".sh";
  const WriteSignalGuard guard;
  const Stream output = openStream(scriptName.c_str(), "w");
  if (output) std::fputs(script.text().c_str(), output.get());
}

void checkClassPath(WString& classPath) {
  WString checked;
  // Only ":" separates here.
  for (WString& element : CommonTool::splitEx(classPath, ":")) {
    if (element.empty()) continue;
    if (!element.view().ends_with(".jar")) {
      if (element.view().ends_with('/')) element.erase(element.length() - 1);
      element += "/*";
    }
    checked += ":" + element;
  }
  classPath = checked;
}
