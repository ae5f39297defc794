#include "javarun/JavaParameterParser.h"

#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/PathList.h"
#include "javarun/ArgumentSplitter.h"
#include "javarun/CommonTool.h"
#include "javarun/ExtendedOptions.h"
#include "platform/OS_Abstractions.h"

namespace javaparser {

namespace {

/// marker + name + "=" + value for every property whose key is the prefix and the name.
std::vector<WString> assignments(const Properties& properties, std::string_view prefix,
                                 const char* marker) {
  std::vector<WString> list;
  properties.forEach([&](const WString& key, const WString& value) {
    if (!key.startsWith(prefix)) return;
    WString assignment = marker;
    assignment += key.view().substr(prefix.size());
    assignment += '=';
    assignment += value;
    list.push_back(std::move(assignment));
  });
  return list;
}

bool namesArchive(const WString& element) {
  return element.contains(".zip") || element.contains(".jar") || element.contains(".class");
}

}  // namespace

WString JavaParameterParser::getJavaPathProperty() const {
  return properties_.valueOf(keys::javaPath);
}

WString JavaParameterParser::getStartClassProperty() const {
  return properties_.valueOf(keys::startClass);
}

WString JavaParameterParser::getKvfFileProperty() const {
  return properties_.valueOf(keys::kvfFile);
}

WString JavaParameterParser::getNativeLibraryProperty() const {
  return properties_.valueOf(keys::javaLibrary);
}

WString JavaParameterParser::getSingleOption(const WString& prefix, const WString& key) const {
  WString value;
  return properties_.get(key, value) ? prefix + value : WString();
}

WString JavaParameterParser::getProcessIDOption() const {
  return "-Dapplication.processid=" + WString(std::to_string(sii_GetProcessID()));
}

WString JavaParameterParser::getJavaDotClassDotPathOption() const {
  WString classPath = ".";
  findClassPath(classPath);
  return "-Djava.class.path=" + classPath;
}

bool JavaParameterParser::findClassPath(WString& classPath) const {
  if (properties_.get(keys::classPathExtended, classPath)) {
    classPath = expandClassPath(classPath);
    return true;
  }
  if (properties_.get(keys::classPath, classPath)) return true;
  const char* inherited = std::getenv("CLASSPATH");
  if (inherited == nullptr) return false;
  classPath = inherited;
  return true;
}

std::vector<WString> JavaParameterParser::getNativeLibraryPathOptions() const {
  const WString option = getSingleOption(nativeLibraryPathOption);
  return option.empty() ? std::vector<WString>() : std::vector<WString>{option};
}

std::vector<WString> JavaParameterParser::getJavaArgsProperty() const {
  return applicationArguments(properties_, LaunchWay::externalJava);
}

std::vector<WString> JavaParameterParser::getEnvProperties() const {
  return assignments(properties_, keys::environmentPrefix, "");
}

std::vector<WString> JavaParameterParser::getExtendJavaOptions() const {
  return splitExtendedOptions(properties_.valueOf(keys::extendedProperties));
}

std::vector<WString> JavaParameterParser::getJavaDotPropertyOptions() const {
  return assignments(properties_, keys::javaPropertyPrefix, "-D");
}

WString JavaParameterParser::expandClassPath(const WString& classPath) const {
  WString expanded;
  for (const std::string_view element : pathElements(classPath.view())) {
    WString piece(withoutTrailingSlash(element));
    if (!namesArchive(piece)) piece = expandDirToClassPath(piece);
    if (!piece.empty()) expanded += piece + ':';
  }
  return expanded;
}

WString JavaParameterParser::expandDirToClassPath(const WString& dir) const {
  return CommonTool::expandDirToClassPath(dir);
}

}  // namespace javaparser
