#ifndef VELOX_JAVARUN_EXTENDEDOPTIONS_H
#define VELOX_JAVARUN_EXTENDEDOPTIONS_H

#include <vector>

#include "foundation/WString.h"

/// Splits the free-form option line of java.extended.properties into JVM options.
///
/// An option starts at a "-" and ends at a space; double quotes protect spaces. A following word
/// that does not begin with "-", even an empty one, becomes the option's value, joined with "=".
/// Finally the first pair of quotes is removed, together with all that follows it; a lone quote is
/// removed alone.
std::vector<WString> splitExtendedOptions(const WString& line);

#endif
