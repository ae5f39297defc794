#include "kvf/launch/JvmOptions.h"

#include <algorithm>
#include <iterator>

#include "javarun/JavaParameterParser.h"
#include "kvf/text/Text.h"

namespace {

struct Size {
  SizeKind kind;
  javaparser::KeyOption option;
};

constexpr Size sizes[] = {{SizeKind::maximumHeap, javaparser::maxHeapSizeOption},
                          {SizeKind::initialHeap, javaparser::initialHeapSizeOption},
                          {SizeKind::youngGeneration, javaparser::minHeapSizeOption},
                          {SizeKind::stack, javaparser::threadStackSizeOption}};

const Size* sizeOf(std::string_view option) {
  const auto* found = std::find_if(std::begin(sizes), std::end(sizes), [&](const Size& size) {
    return option.starts_with(size.option.prefix);
  });
  return found == std::end(sizes) ? nullptr : found;
}

}  // namespace

std::vector<SizeOption> sizeOptions(const Inspection& inspection) {
  const std::string line = inspection.valueOf(keys::extendedProperties);
  std::vector<SizeOption> found;
  for (const std::string& option : inspection.plan.options) {
    const Size* size = sizeOf(option);
    if (size == nullptr) continue;
    const std::string value = option.substr(std::string_view(size->option.prefix).size());
    const bool isOfEmptyKey = value.empty() && inspection.value(size->option.key) == "";
    if (isOfEmptyKey) continue;
    const bool isJoined =
        value.find('=') != std::string::npos && line.find(option) == std::string::npos;
    found.push_back({size->kind, option, value, positionOfOption(inspection, option), isJoined});
  }
  return found;
}

Position positionOfOption(const Inspection& inspection, const std::string& option) {
  if (const Size* size = sizeOf(option)) {
    const char* key = size->option.key;
    const auto value = inspection.value(key);
    if (value && option == concat({size->option.prefix, *value})) return inspection.positionOf(key);
  }
  return inspection.positionOf(keys::extendedProperties);
}

bool isOfJavaProgram(std::string_view option) {
  constexpr std::string_view names[] = {"-cp",
                                        "-classpath",
                                        "--class-path",
                                        "-jar",
                                        "-p",
                                        "-m",
                                        "--module",
                                        "-d",
                                        "--describe-module",
                                        "--list-modules",
                                        "--dry-run",
                                        "--validate-modules",
                                        "-version",
                                        "--version",
                                        "-showversion",
                                        "--show-version",
                                        "-fullversion",
                                        "--full-version",
                                        "-help",
                                        "--help",
                                        "-h",
                                        "-?",
                                        "-X",
                                        "--help-extra"};
  return std::find(std::begin(names), std::end(names), option) != std::end(names);
}

bool setsSize(std::string_view option) {
  return sizeOf(option) != nullptr;
}

bool mayBeUnknown(std::string_view option) {
  return !option.starts_with("-D") && !setsSize(option);
}
