#ifndef VELOX_KVF_IMPORT_ARGUMENTFILE_H
#define VELOX_KVF_IMPORT_ARGUMENTFILE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A word of an argument file, which `java @FILE` reads.
struct ArgumentFileWord {
  std::string text;
  std::size_t line;  ///< in which it begins, from 1
};

/// Splits the text of an argument file as java does:
///
///     between words    blanks, tabs, form feeds and line ends; "#" begins a comment
///     in a word        quotes of both kinds open and close; a backslash is one
///     inside quotes    \n \r \t \f, a backslash before any other character drops it; one at the
///                      end of a line joins the next without its blanks; a line end closes them
///
/// A "#" outside of quotes ends the word without what is right before it; an empty pair of
/// quotes, or a backslash, at the very end of the text gives no word.
std::vector<ArgumentFileWord> parseArgumentFile(std::string_view text);

/// Splits JDK_JAVA_OPTIONS as java does, in which quotes of both kinds protect blanks and nothing
/// escapes them. Nothing when a quote is not closed, which java refuses.
std::optional<std::vector<std::string>> splitOptionsVariable(std::string_view text);

#endif
