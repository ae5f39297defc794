#include "javarun/JavaParameterParserUtil.h"

namespace javaparser {

namespace {

/// The options between the class path and the process ID.
constexpr KeyOption settings[] = {nativeLibraryOption,   nativeLibraryPathOption,
                                  maxHeapSizeOption,     minHeapSizeOption,
                                  initialHeapSizeOption, threadStackSizeOption};

}  // namespace

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
