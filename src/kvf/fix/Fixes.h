#ifndef VELOX_KVF_FIX_FIXES_H
#define VELOX_KVF_FIX_FIXES_H

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "kvf/launch/SourceTexts.h"
#include "kvf/rules/Finding.h"

/// A file whose text the fixes of findings change.
struct FixedFile {
  std::string name;    ///< as a reader knows it
  std::string before;  ///< as it was read
  std::string after;
  std::size_t fixes = 0;  ///< how many findings were fixed
};

/// The fixes of findings, put into the texts of the files, which are left alone until `write`.
/// What a fix uncovers is found by a check of those texts, and mended in turn:
///
///     do findings = check(inspect(fixes.texts())); while (fixes.apply(findings));
///
class Fixes {
 public:
  /// Applies each fix as a whole, unless it touches one that was applied before it: such a finding
  /// comes up again. False when there was none to apply.
  bool apply(std::span<const Finding> findings);

  /// By absolute paths; only those that are changed.
  [[nodiscard]] const std::map<std::string, FixedFile>& files() const { return files_; }
  /// Replaces the texts of the files from now on.
  [[nodiscard]] GivenTexts texts() const;

  /// Replaces every file, or none when one of them cannot be replaced without a loss, has changed
  /// since it was read, or is `except`, which is left out. Throws FileError; a failure after these
  /// checks, as on a full disk, leaves that file and those after it as they are.
  void write(const std::string& except = {}) const;

 private:
  std::map<std::string, FixedFile> files_;
};

/// The text with the edits in it, whose offsets are those of the text before. REQUIRES: they do not
/// overlap.
struct TextEdit {
  std::size_t start, end;
  std::string text;

  bool operator==(const TextEdit&) const = default;
  bool operator<(const TextEdit& other) const {
    return std::tie(start, end, text) < std::tie(other.start, other.end, other.text);
  }
};
std::string withEdits(std::string_view text, std::vector<TextEdit> edits);

#endif
