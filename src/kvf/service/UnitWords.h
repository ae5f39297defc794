#ifndef VELOX_KVF_SERVICE_UNITWORDS_H
#define VELOX_KVF_SERVICE_UNITWORDS_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// How systemd reads what follows "=": words, escapes, specifiers and variables.

struct UnitWord {
  std::string text;    ///< without quotes, escapes resolved
  std::size_t at = 0;  ///< offset of its start
  std::size_t end = 0;
};

struct UnitWords {
  std::vector<UnitWord> words;
  bool unbalanced = false;  ///< a quote is not closed: systemd ignores the whole setting
  std::vector<std::string> unknownEscapes;  ///< the words with one, which stay as they are
};

/// Splits at blanks that no quotes protect; C-style escapes count inside quotes and outside.
UnitWords splitUnitWords(std::string_view text);

/// The next word from the offset on, which moves to its end; nothing at the end, or where a quote
/// is not closed, which is noted.
std::optional<UnitWord> nextUnitWord(std::string_view text, std::size_t& offset, UnitWords& notes);

using UnitVariables = std::map<std::string, std::string>;

/// What %x stands for. Letters that systemd knows and this machine cannot resolve have no value.
using UnitSpecifiers = std::map<char, std::optional<std::string>>;

struct ExpandedSpecifiers {
  std::string text;
  std::string unknown;  ///< letters without a value, which stay in the text
  std::string refused;  ///< letters that systemd does not know: it refuses the setting
};

/// Replaces specifiers; %% is a percent sign.
ExpandedSpecifiers expandUnitSpecifiers(std::string_view text, const UnitSpecifiers& specifiers);

/// The words that a word of a command becomes: $NAME alone is split at blanks, ${NAME} is replaced
/// within the word, $$ is a dollar sign. Names of variables that are not set are added to `unset`.
std::vector<std::string> expandUnitVariables(const std::string& word,
                                             const UnitVariables& variables,
                                             std::vector<std::string>& unset);

#endif
