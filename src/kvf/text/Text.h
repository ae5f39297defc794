#ifndef VELOX_KVF_TEXT_TEXT_H
#define VELOX_KVF_TEXT_TEXT_H

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/WString.h"

inline std::string toString(const WString& text) {
  return std::string(text.view());
}

/// The pieces, one after the other.
std::string concat(std::initializer_list<std::string_view> pieces);

/// The number of characters (Unicode code points). A byte that is not UTF-8 counts as one.
std::size_t charactersIn(std::string_view text);

/// The pieces between the separators, as views of the text; without empty ones.
std::vector<std::string_view> piecesOf(std::string_view text, std::string_view separators);

/// Fit for one line on a terminal: control characters and malformed UTF-8 as escapes.
std::string printable(std::string_view text);

/// The same in double quotes.
std::string shownWhole(std::string_view text);

/// The same, for a message: what is long is cut off.
std::string shown(std::string_view text);

/// A word that a POSIX shell reads as exactly this text, quotes, "$" and line ends included.
std::string shellWord(std::string_view text);

/// The same for one line on a terminal. What is not printable needs $'...', which bash, ksh and zsh
/// read, but not every sh.
std::string printableShellWord(std::string_view text);

/// The value as a properties file must spell it after "key=", so that the launcher reads exactly
/// this value: backslashes, percent signs, control characters, and blanks or "=" at its start.
std::string spelledInPropertiesFile(std::string_view value);

/// The candidate that the text was probably meant to be: few characters differ. Empty: none.
std::string_view nearestName(std::string_view text,
                             const std::vector<std::string_view>& candidates);

/// The candidate that differs from the text by one or two typing mistakes; empty: none, or there is
/// another one as near.
std::string_view misspeltName(std::string_view text,
                              const std::vector<std::string_view>& candidates);

/// "1 blank", "2 blanks".
std::string countOf(std::size_t number, std::string_view noun);

/// " (did you mean NAME?)", or nothing for an empty name.
std::string didYouMean(std::string_view name);

#endif
