#include "javarun/JavaParameterParser.h"

#include <string>
#include <string_view>
#include <utility>

#include "javarun/ArgumentSplitter.h"
#include "javarun/ClassPath.h"
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

/// The options between the class path and the process ID.
constexpr KeyOption settings[] = {nativeLibraryOption,   nativeLibraryPathOption,
                                  maxHeapSizeOption,     minHeapSizeOption,
                                  initialHeapSizeOption, threadStackSizeOption};

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
  return WString(classPathOption) + ClassPath::of(properties_).text;
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
  return joinedClassPath(expandedClassPath(classPath.view()));
}

WString JavaParameterParser::expandDirToClassPath(const WString& dir) const {
  return CommonTool::expandDirToClassPath(dir);
}

std::vector<WString> getAllJavaRunOption(const JavaParameterParser& parser,
                                         const RunOptionScope& scope) {
  std::vector<WString> options;
  const auto append = [&](const WString& option) {
    if (!option.empty()) options.push_back(option);
  };
  if (scope.withUserOptions) {
    appendElementToVector(options, parser.getJavaDotPropertyOptions());
    appendElementToVector(options, parser.getExtendJavaOptions());
  }
  append(parser.getJavaDotClassDotPathOption());
  for (const KeyOption& setting : settings) append(parser.getSingleOption(setting));
  append(parser.getProcessIDOption());
  if (!scope.serviceBinaryPath.empty()) append("-Dwrapper.binary.path=" + scope.serviceBinaryPath);
  append(parser.getSingleOption(kvfFileOption));
  return options;
}

void appendElementToVector(std::vector<WString>& list, const std::vector<WString>& elements) {
  // By index and from reserved room: the elements may be the list itself.
  const std::size_t count = elements.size();
  list.reserve(list.size() + count);
  for (std::size_t i = 0; i < count; ++i) list.push_back(elements[i]);
}

}  // namespace javaparser
