#ifndef VELOX_JAVARUN_EXTENDEDOPTIONS_H
#define VELOX_JAVARUN_EXTENDEDOPTIONS_H

#include <vector>

#include "foundation/WString.h"

/// Splits the free-form option line of java.extended.properties into JVM options.
///
/// An option starts at a "-" and ends at a space; double quotes protect spaces and are removed. A
/// following word that does not begin with "-" becomes the option's value, joined with "=".
std::vector<WString> splitExtendedOptions(const WString& line);

#endif
