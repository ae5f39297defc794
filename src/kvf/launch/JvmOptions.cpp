#include "kvf/launch/JvmOptions.h"

#include <algorithm>
#include <iterator>

#include "foundation/MemorySize.h"
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

/// The key that gave the option -DNAME=VALUE; empty: it was in the option line.
std::string keyOfSystemProperty(const Inspection& inspection, std::string_view option) {
  if (!option.starts_with("-D")) return {};
  const std::string_view definition = option.substr(2);
  const std::string_view name = definition.substr(0, definition.find('='));
  if (name == "java.class.path") {
    return inspection.plan.classPathKey == nullptr ? "" : inspection.plan.classPathKey;
  }
  std::string key = concat({keys::javaPropertyPrefix, name});
  const auto value = inspection.value(key.c_str());
  return value && definition == concat({name, "=", *value}) ? key : std::string();
}

/// The word of the option line, which may go over several lines of the file. What comes from
/// variables is not spelled out there: the longest part before a "=" or ":" that is found counts.
Position positionInOptionLine(const Inspection& inspection, std::string_view option) {
  const Entry* entry = inspection.entryOf(keys::extendedProperties);
  if (entry == nullptr) return inspection.positionOf(keys::extendedProperties);
  const SourceFile& file = inspection.fileOf(entry->at);
  const std::string_view raw = inspection.rawValueOf(*entry);
  for (std::string_view part = option; !part.empty();
       part = part.substr(0, std::min(part.find_last_of("=:"), part.size()))) {
    for (std::size_t at = 0; (at = raw.find(part, at)) != std::string_view::npos; ++at) {
      const bool startsWord =
          at == 0 || std::string_view(" \t\n=").find(raw[at - 1]) != std::string_view::npos;
      if (!startsWord) continue;
      const std::size_t start = entry->rawAt + at;
      const std::size_t end = entry->rawAt + std::min(raw.find_first_of(" \t\r\n", at), raw.size());
      return file.stretch(entry->at.file, start, end);
    }
    if (part.find_last_of("=:") == std::string_view::npos) break;
  }
  return entry->at;
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

std::optional<std::uint64_t> maximumHeap(const Inspection& inspection) {
  std::optional<std::uint64_t> bytes;
  for (const SizeOption& size : sizeOptions(inspection))
    if (size.kind == SizeKind::maximumHeap) bytes = memorySize(size.size);
  return bytes;
}

Position positionOfOption(const Inspection& inspection, const std::string& option) {
  if (const Size* size = sizeOf(option)) {
    const char* key = size->option.key;
    const auto value = inspection.value(key);
    if (value && option == concat({size->option.prefix, *value})) return inspection.positionOf(key);
  }
  const std::string key = keyOfSystemProperty(inspection, option);
  if (!key.empty()) return inspection.positionOf(key);
  return positionInOptionLine(inspection, option);
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
