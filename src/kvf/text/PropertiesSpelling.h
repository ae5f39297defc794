#ifndef VELOX_KVF_TEXT_PROPERTIESSPELLING_H
#define VELOX_KVF_TEXT_PROPERTIESSPELLING_H

#include <optional>
#include <string>
#include <string_view>

/// How a text is written so that the launcher reads exactly this text. spelledInPropertiesFile
/// spells whole values; their parts have rules of their own.

/// True for a value that no spelling carries through the substitution of variables: it holds both a
/// percent sign and percentMarker.
bool cannotBeValue(std::string_view value);

/// A key, or a part of one.
std::string spelledKey(std::string_view key);

/// A part of a value, spelled; the start of the whole value needs more.
std::string spelledPart(std::string_view text);

/// A value that is substituted once more before it is used, as what goes into the environment is.
std::string escapedPercents(std::string_view value);

/// An option as a word of the option line: the part with blanks is quoted. Nothing for one that
/// holds a double quote, and for a text that is not an option.
std::optional<std::string> optionWord(std::string_view option);

/// An argument as a word of application.args; nothing for one that holds a double quote.
std::optional<std::string> argumentWord(std::string_view argument);

#endif
