#include "javarun/JavaParameterParserUtil.h"

namespace javaparser {

namespace {

void appendIfPresent(std::vector<WString>& list, const WString& option) {
  if (!option.empty()) list.push_back(option);
}

}  // namespace

std::vector<WString> getAllJavaRunOption(const JavaParameterParser& parser,
                                         const RunOptionScope& scope) {
  std::vector<WString> options;
  if (scope.withUserOptions) {
    appendElementToVector(options, parser.getJavaDotPropertyOptions());
    appendElementToVector(options, parser.getExtendJavaOptions());
  }
  options.push_back(parser.getJavaDotClassDotPathOption());
  appendIfPresent(options, parser.getNativeLibraryOption());
  appendElementToVector(options, parser.getNativeLibraryPathOptions());
  appendIfPresent(options, parser.getMaxHeapSizeOption());
  appendIfPresent(options, parser.getMinHeapSizeOption());
  appendIfPresent(options, parser.getInitalHeapSizeOption());
  appendIfPresent(options, parser.getThreadStackSizeOption());
  options.push_back(parser.getProcessIDOption());
  if (!scope.serviceBinaryPath.empty()) {
    options.push_back("-Dwrapper.binary.path=" + scope.serviceBinaryPath);
  }
  appendIfPresent(options, parser.getKvfFileOption());
  return options;
}

void appendElementToVector(std::vector<WString>& list, const std::vector<WString>& elements) {
  list.insert(list.end(), elements.begin(), elements.end());
}

}  // namespace javaparser
