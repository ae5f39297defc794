#ifndef VELOX_KVF_RULES_SHELLSYNTAX_H
#define VELOX_KVF_RULES_SHELLSYNTAX_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a shell would make of a text. There is no shell between a properties file and the
/// application.

/// A piece that a shell replaces.
struct ShellExpansion {
  std::string text;     ///< "$HOME", "~", "$(...)", "`...`"
  std::string instead;  ///< how to write it in a properties file; empty: not possible
  std::size_t at = 0;   ///< where it begins
};

/// The first of $NAME, ${NAME}, $(...), `...`, and ~ at the start of a path, from there on. What
/// the system's loader expands ($ORIGIN) does not count.
std::optional<ShellExpansion> shellExpansionIn(std::string_view text, std::size_t from = 0);

/// The text as words, with double quotes anywhere around blanks; nothing when a quote is not
/// closed.
std::optional<std::vector<std::string>> shellWords(std::string_view text);

/// The word at which a redirection or a command's end begins, such as > FILE, 2>&1 or a last &;
/// empty: none.
std::string redirectionIn(const std::vector<std::string>& words);

/// The word that opens a quote, of those that mean nothing here, and a later one closes; empty:
/// none.
std::string foreignQuoteIn(const std::vector<std::string>& words);

#endif
