#ifndef VELOX_TESTS_SUPPORT_VALUES_H
#define VELOX_TESTS_SUPPORT_VALUES_H

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Properties.h"

/// What a test expects of a list of texts, or gives as arguments: Texts{"x", "y z"}.
using Texts = std::vector<std::string>;

/// What a test expects of a property set: Entries{{"key", "value"}}, in any order.
using Entries = std::vector<std::pair<std::string, std::string>>;

/// A property set: props({{"key", "value"}}). The entries are set one after the other.
SimpleProperties props(const Entries& entries);

/// Every entry of a set, in the order of its enumeration.
Entries entriesOf(const Properties& properties);

/// The pointers that a program and a main function take: to the texts' own characters, and null.
std::vector<char*> pointersTo(Texts& texts);

bool operator==(const std::vector<WString>& list, const Texts& expected);
bool operator==(const SimpleProperties& set, Entries expected);

// How a failed expectation shows them.
void PrintTo(const WString& text, std::ostream* out);
void PrintTo(const SimpleProperties& set, std::ostream* out);

#endif
