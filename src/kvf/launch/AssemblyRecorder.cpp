#include "kvf/launch/AssemblyRecorder.h"

#include <algorithm>

#include "config/PropertiesScanner.h"
#include "kvf/text/Text.h"

namespace {

/// Further files are not looked at: the same one may be included thousands of times.
constexpr std::size_t maxRecordedBytes = std::size_t{32} << 20U;
/// A few lines of references that double each other make any amount of text.
constexpr std::size_t maxReplacedBytes = std::size_t{32} << 20U;

}  // namespace

void AssemblyRecorder::argumentScanned(const ScannedArgument& argument) {
  const auto index = static_cast<std::size_t>(argument.index);
  if (run_.arguments.size() <= index) run_.arguments.resize(index + 1);
  Argument& recorded = run_.arguments[index];
  recorded.switchName = argument.switchName;
  recorded.hasValue = argument.value != nullptr;
  recorded.valueConsumed = argument.valueConsumed;
}

Position AssemblyRecorder::positionAt(std::size_t offset) const {
  const int file = currentFile();
  return {file, run_.files[static_cast<std::size_t>(file)].lineAt(offset)};
}

SourceFile& AssemblyRecorder::addFile(const WString& name) {
  SourceFile& file = run_.files.emplace_back();
  file.name = toString(name);
  file.global = inGlobal_;
  if (includePending_) file.includedAt = run_.entries.back().at;
  includePending_ = false;
  globalPending_ = false;
  return file;
}

PropertiesText AssemblyRecorder::readFile(const char* name) {
  // No more is needed: it would be refused as a whole.
  if (recordedBytes_ > maxRecordedBytes) return {PropertiesText::State::read, {}};
  const SourceTexts::Source& source = texts_.read(name);
  if (isOpen(source)) return {PropertiesText::State::read, {}};
  return source.content;
}

bool AssemblyRecorder::isOpen(const SourceTexts::Source& source) const {
  return std::any_of(open_.begin(), open_.end(),
                     [&](const Open& open) { return open.source.isSameFileAs(source); });
}

bool AssemblyRecorder::fileEntered(const WString& name, std::string_view text) {
  const SourceTexts::Source& source = texts_.read(toString(name));
  if (isOpen(source)) {
    run_.includeCycles.push_back(run_.entries.back().at);
    includePending_ = false;
    return false;
  }
  recordedBytes_ += text.size();
  if (recordedBytes_ > maxRecordedBytes) {
    includePending_ = false;
    run_.tooMuch = true;
    return false;
  }
  SourceFile& file = addFile(name);
  file.setText(std::string(text));
  open_.push_back({static_cast<int>(run_.files.size()) - 1, source});
  return true;
}

void AssemblyRecorder::fileUnread(const WString& name) {
  addFile(name).unread = true;
}

void AssemblyRecorder::fileLeft() {
  const SourceFile& file = run_.files[static_cast<std::size_t>(currentFile())];
  latestInclude_ = file.includedAt.value_or(Position());
  open_.pop_back();
}

void AssemblyRecorder::lineDropped(std::size_t offset) {
  const Position at = positionAt(offset);
  // Carriage returns make many of one.
  if (run_.droppedLines.empty() || run_.droppedLines.back() != at) run_.droppedLines.push_back(at);
}

void AssemblyRecorder::controlEscaped(std::size_t offset) {
  const SourceFile& file = run_.files[static_cast<std::size_t>(currentFile())];
  run_.controlEscapes.push_back(file.stretch(currentFile(), offset - 1, offset + 1));
}

bool AssemblyRecorder::entryScanned(const PropertiesEntry& scanned) {
  latestKeyAt_ = scanned.keyAt;
  exporting_ = false;
  substituting_ = true;
  replacements_.clear();

  const int file = currentFile();
  const SourceFile& source = run_.files[static_cast<std::size_t>(file)];
  Entry& entry = run_.entries.emplace_back();
  entry.at = source.stretch(file, scanned.keyAt, scanned.endAt);
  entry.key = toString(scanned.key);
  entry.written = toString(scanned.value);
  entry.rawAt = scanned.valueAt;
  entry.rawEnd = scanned.endAt;
  entry.endedByLineEnd = scanned.endedByLineEnd;
  entry.global = inGlobal_;
  entry.skipped = skip_.entries.contains({file, scanned.keyAt});
  return !entry.skipped;
}

void AssemblyRecorder::referenceReplaced(const ReplacedReference& reference) {
  const std::size_t at = reference.at;
  const std::size_t before = reference.name.length() + 2;
  const std::size_t after = reference.replacement.length();
  replacedBytes_ += after;
  if (replacedBytes_ > maxReplacedBytes) throw TooMuchText{};
  bool inReplacement = false;
  for (Range& range : replacements_) {
    if (at >= range.end) continue;
    if (at >= range.start) {
      inReplacement = true;
    } else {
      range.start = range.start + after - std::min(before, range.start + after);
    }
    range.end = range.end + after - std::min(before, range.end + after);
  }
  replacements_.push_back({at, at + after});
  run_.entries.back().references.push_back({toString(reference.name), reference.source,
                                            toString(reference.replacement), inReplacement,
                                            exporting_});
}

void AssemblyRecorder::includeFound(const WString& name) {
  Entry& entry = run_.entries.back();
  entry.isInclude = true;
  entry.value = toString(name);
  latestInclude_ = entry.at;
  includePending_ = true;
  substituting_ = false;
}

void AssemblyRecorder::entryStored(const WString& key, const WString& value) {
  run_.entries.back().value = toString(value);
  substituting_ = false;
  auto& last = inGlobal_ ? run_.lastInGlobal : run_.lastInFiles;
  last[toString(key)] = run_.entries.size() - 1;
}

void AssemblyRecorder::exportBegins() {
  exporting_ = true;
  substituting_ = true;
  replacements_.clear();
}

void AssemblyRecorder::variableExported(std::string_view /*name*/, const WString& value) {
  run_.entries.back().exported = toString(value);
  substituting_ = false;
}

bool AssemblyRecorder::globalFileFound(const WString& name) {
  run_.globalFile = toString(name);
  inGlobal_ = true;
  globalPending_ = true;
  return !skip_.globalFile;
}

void AssemblyRecorder::globalEntryMerged(const WString& key, bool taken) {
  run_.globalKeys[toString(key)] = taken;
}

Failure AssemblyRecorder::failure(const std::string& message) const {
  using Stage = Failure::Stage;
  if (globalPending_) return {Stage::globalFile, {}, message};
  if (open_.empty()) return {Stage::mainFile, {}, message};
  if (substituting_) return {Stage::substitution, run_.entries.back().at, message};
  return {Stage::include, latestInclude_, message, fileFailure_};
}

Failure AssemblyRecorder::expansionFailure() const {
  return {Failure::Stage::expansion, run_.entries.back().at, {}};
}

bool AssemblyRecorder::skipLatest(SkippedEntries& skip) const {
  if (globalPending_) {
    skip.globalFile = true;
    return true;
  }
  if (open_.empty()) return false;
  // Includes that are too much altogether stay so without the latest one.
  if (!substituting_ && !includePending_) return false;
  return skip.entries.insert({currentFile(), latestKeyAt_}).second;
}
