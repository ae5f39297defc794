#include "kvf/fix/Fixes.h"

#include <algorithm>
#include <filesystem>
#include <list>
#include <optional>
#include <set>
#include <string_view>

#include "kvf/process/FileError.h"
#include "kvf/process/FileReplacement.h"
#include "kvf/process/Interruption.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

using FileEdits = std::map<std::string, std::set<TextEdit>>;  // by the file's path

/// The files that findings are about, one path for each, however a launch names it.
class Paths {
 public:
  const std::string& of(const Inspection& inspection, const Position& at) {
    std::string& path = paths_[{&inspection, at.file}];
    if (!path.empty()) return path;
    std::error_code error;
    path = inspection.pathOf(at);
    const fs::path real = fs::weakly_canonical(path, error);
    if (!error) path = real.native();
    return path;
  }

 private:
  std::map<std::pair<const Inspection*, int>, std::string> paths_;
};

std::size_t offsetOf(const SourceFile& file, std::size_t line, std::size_t column) {
  return file.lineStarts[line - 1] + column - 1;
}

TextEdit textEditOf(const SourceFile& file, const Edit& edit) {
  return {offsetOf(file, edit.at.line, edit.at.column),
          offsetOf(file, edit.at.endLine, edit.at.endColumn), edit.text};
}

/// True for edits that leave no doubt about their order.
bool isApart(const TextEdit& one, const TextEdit& other) {
  return one.end < other.start || other.end < one.start;
}

/// True for two fixes that are apart from each other, or the same edits.
bool fits(const std::set<TextEdit>& taken, const TextEdit& edit) {
  const auto suits = [&](const TextEdit& other) { return other == edit || isApart(edit, other); };
  // Those taken are apart, so that only the neighbours can touch it.
  const auto next = taken.lower_bound(edit);
  return (next == taken.end() || suits(*next)) &&
         (next == taken.begin() || suits(*std::prev(next)));
}

}  // namespace

bool Fixes::apply(std::span<const Finding> findings) {
  Paths paths;
  FileEdits taken;
  // Texts are compared once, not for each of many edits.
  std::map<const SourceFile*, bool> isCurrent;
  for (const Finding& finding : findings) {
    FileEdits own;
    bool isFit = true;
    for (const Edit& edit : finding.fix) {
      const Inspection& inspection = *finding.inspection;
      const SourceFile& source = inspection.fileOf(edit.at);
      const std::string& path = paths.of(inspection, edit.at);
      const auto [file, isNew] = files_.try_emplace(path);
      if (isNew) file->second = {inspection.nameOf(source), source.text, source.text};
      const TextEdit one = textEditOf(source, edit);
      // It may have been changed between two inspections.
      const auto [current, isFirst] = isCurrent.try_emplace(&source);
      if (isFirst) current->second = file->second.after == source.text;
      isFit = isFit && current->second && fits(taken[path], one);
      own[path].insert(one);
    }
    if (!isFit) continue;
    for (const auto& [path, edits] : own) {
      const std::size_t before = taken[path].size();
      taken[path].insert(edits.begin(), edits.end());
      if (taken[path].size() > before) ++files_[path].fixes;
    }
  }
  for (const auto& [path, edits] : taken)
    files_[path].after = withEdits(files_[path].after, {edits.begin(), edits.end()});
  std::erase_if(files_, [](const auto& file) { return file.second.fixes == 0; });
  return std::any_of(taken.begin(), taken.end(),
                     [](const auto& edits) { return !edits.second.empty(); });
}

GivenTexts Fixes::texts() const {
  GivenTexts texts;
  for (const auto& [path, file] : files_) texts[path] = file.after;
  return texts;
}

void Fixes::write(const std::string& except) const {
  const InterruptionWatch interruptions;
  std::list<std::pair<FileReplacement, const FixedFile*>> replacements;
  for (const auto& [path, file] : files_) {
    if (path == except) continue;
    if (!fs::is_regular_file(path))
      throw FileError(concat({file.name, " is not a regular file, and cannot be fixed"}));
    const FileReplacement& replacement =
        replacements.emplace_back(FileReplacement(path), &file).first;
    if (replacement.text() != file.before)
      throw FileError(concat({file.name, " has changed meanwhile: nothing is fixed"}));
  }
  for (const auto& [replacement, file] : replacements) {
    InterruptionWatch::look();
    replacement.replace(file->after);
  }
}

std::string withEdits(std::string_view text, std::vector<TextEdit> edits) {
  std::sort(edits.begin(), edits.end());
  std::string result;
  std::size_t at = 0;
  for (const TextEdit& edit : edits) {
    result.append(text.substr(at, edit.start - at)).append(edit.text);
    at = edit.end;
  }
  return result.append(text.substr(at));
}
