#include "kvf/launch/JvmOptions.h"

#include <algorithm>
#include <iterator>
#include <utility>

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
  const javaparser::KeyOption& libraries = javaparser::nativeLibraryPathOption;
  const auto ownPath = inspection.value(libraries.key);
  if (ownPath && option == concat({libraries.prefix, *ownPath})) return libraries.key;
  std::string key = concat({keys::javaPropertyPrefix, name});
  const auto value = inspection.value(key.c_str());
  return value && definition == concat({name, "=", *value}) ? key : std::string();
}

}  // namespace

OptionPlaces::OptionPlaces(const Inspection& inspection)
    : inspection_(inspection), entry_(inspection.entryOf(keys::extendedProperties)) {}

Position OptionPlaces::of(const std::string& option) {
  if (const Size* size = sizeOf(option)) {
    const char* key = size->option.key;
    const auto value = inspection_.value(key);
    if (value && option == concat({size->option.prefix, *value}))
      return inspection_.positionOf(key);
  }
  const std::string key = keyOfSystemProperty(inspection_, option);
  if (!key.empty()) return inspection_.positionOf(key);
  if (entry_ == nullptr) return inspection_.positionOf(keys::extendedProperties);
  readWords();
  for (std::string_view part = option; !part.empty();
       part = part.substr(0, std::min(part.find_last_of("=:"), part.size()))) {
    const auto word = words_.lower_bound(part);
    if (word != words_.end() && word->first.starts_with(part)) return placeOf(*word);
    if (part.find_last_of("=:") == std::string_view::npos) break;
  }
  return entry_->at;
}

void OptionPlaces::readWords() {
  if (std::exchange(isRead_, true)) return;
  const std::string_view raw = inspection_.rawValueOf(*entry_);
  for (std::string_view word : piecesOf(raw, " \t\r\n")) {
    // The one of the entry itself.
    if (word.starts_with('=')) word.remove_prefix(1);
    words_.try_emplace(word, static_cast<std::size_t>(word.data() - raw.data()));
  }
}

Position OptionPlaces::placeOf(const std::pair<const std::string_view, std::size_t>& word) const {
  const std::size_t start = entry_->rawAt + word.second;
  return inspection_.fileOf(entry_->at).stretch(entry_->at.file, start, start + word.first.size());
}

std::vector<SizeOption> sizeOptions(const Inspection& inspection) {
  const std::string line = inspection.valueOf(keys::extendedProperties);
  const std::set<std::string_view> words = wordsOfOptionLine(line);
  OptionPlaces places(inspection);
  std::vector<SizeOption> found;
  for (const std::string& option : inspection.plan.options) {
    const Size* size = sizeOf(option);
    if (size == nullptr) continue;
    const std::string value = option.substr(std::string_view(size->option.prefix).size());
    const bool isOfEmptyKey = value.empty() && inspection.value(size->option.key) == "";
    if (isOfEmptyKey) continue;
    const bool isJoined = value.find('=') != std::string::npos && !words.contains(option);
    found.push_back({size->kind, option, value, places.of(option), isJoined});
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
  return OptionPlaces(inspection).of(option);
}

std::set<std::string_view> wordsOfOptionLine(std::string_view line) {
  const std::vector<std::string_view> words = piecesOf(line, " ");
  return {words.begin(), words.end()};
}

bool setsSize(std::string_view option) {
  return sizeOf(option) != nullptr;
}

bool mayBeUnknown(std::string_view option) {
  return !option.starts_with("-D") && !setsSize(option);
}
