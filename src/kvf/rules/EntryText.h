#ifndef VELOX_KVF_RULES_ENTRYTEXT_H
#define VELOX_KVF_RULES_ENTRYTEXT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "kvf/launch/Inspection.h"
#include "kvf/rules/Finding.h"

/// An entry as it is written in its file, for rules that point into it or mend it. Offsets are
/// those of its raw value: what follows the character that ended the key.
class EntryText {
 public:
  /// REQUIRES: both outlive this; the entry is of a file.
  EntryText(const Inspection& inspection, const Entry& entry)
      : entry_(&entry), file_(&inspection.fileOf(entry.at)), raw_(inspection.rawValueOf(entry)) {}

  [[nodiscard]] std::string_view raw() const { return raw_; }
  /// True when no line continues it.
  [[nodiscard]] bool isOneLine() const { return entry_->at.line == entry_->at.endLine; }
  /// True when nothing but blanks is in front of it in its line. A bare carriage return may end an
  /// entry in the middle of one.
  [[nodiscard]] bool beginsLine() const;
  /// Where the text is, if it is there exactly once.
  [[nodiscard]] std::optional<std::size_t> find(std::string_view text) const;
  /// That stretch of the file; else the entry as a whole.
  [[nodiscard]] Position placeOf(std::string_view text) const;
  /// The key; the entry as a whole where it is not written as it is read.
  [[nodiscard]] Position placeOfKey() const;
  /// True when it is: it has no backslash.
  [[nodiscard]] bool hasPlainKey() const;

  [[nodiscard]] Edit insert(std::size_t at, std::string text) const;
  [[nodiscard]] Edit replace(std::size_t start, std::size_t end, std::string text) const;
  /// REQUIRES: hasPlainKey().
  [[nodiscard]] Edit replaceKey(std::string key) const;
  /// Puts this between the key and the value, which begins at that offset.
  [[nodiscard]] Edit separateBy(std::string separator, std::size_t valueAt) const;
  /// Puts a line above the entry. REQUIRES: beginsLine().
  [[nodiscard]] Edit insertLineAbove(std::string_view line) const;

 private:
  [[nodiscard]] std::size_t keyAt() const { return entry_->rawAt - entry_->key.size() - 1; }
  [[nodiscard]] Position stretch(std::size_t start, std::size_t end) const {
    return file_->stretch(entry_->at.file, start, end);
  }

  const Entry* entry_;
  const SourceFile* file_;
  std::string_view raw_;
};

#endif
