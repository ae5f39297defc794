#ifndef VELOX_KVF_RULES_VALUESIGNS_H
#define VELOX_KVF_RULES_VALUESIGNS_H

#include <string_view>

#include "kvf/launch/Inspection.h"

/// Quotes around a value and a comment after it: both belong to the value, which only seldom is
/// meant.

/// True where rule quoted-value reports the quotes. The value is the one before substitution.
bool hasOddQuotes(std::string_view key, std::string_view value);

/// The comment that rule trailing-comment reports, with the blanks in front of it; empty: none.
std::string_view oddCommentIn(std::string_view key, std::string_view value);

/// True for a text that does what a key of the launcher asks for: a size, a number, a name, a path
/// of something that is there. Of a key whose values are any text, every one but the empty.
bool suits(const Inspection& inspection, std::string_view key, std::string_view value);

/// True for a key whose values are any text, in which every sign may be meant.
bool takesAnyText(std::string_view key);

#endif
