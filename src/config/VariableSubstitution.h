#ifndef VELOX_CONFIG_VARIABLESUBSTITUTION_H
#define VELOX_CONFIG_VARIABLESUBSTITUTION_H

#include <string_view>

#include "config/AssemblyObserver.h"
#include "foundation/Properties.h"

/// What stands for an escaped percent sign while variables are replaced, and becomes one at the
/// end.
inline constexpr std::string_view percentMarker = "@@#@@";

/// Replaces every %name% in the value by, in this order: the variable of that name in `first`, the
/// environment variable, the property in `second`, the property in `third`, else nothing. "\%" is a
/// literal percent sign (in a file it takes two backslashes, as the file's own escapes come first),
/// and in a value with a percent sign so is percentMarker. References are resolved one after the
/// other from the start of the text, so one inside a replacement may be resolved in turn. More than
/// 100 references end the process with a message.
void ReplaceVariables(WString& value, const SimpleProperties& first, const SimpleProperties& second,
                      const SimpleProperties& third, AssemblyObserver& observer = noObserver);

/// The older substitution, of the legacy script alone: the first backslash with the character after
/// it becomes "/", the first %PSP% becomes ":", and every %name% is replaced by the property, else
/// the environment variable, else nothing, until no reference is left. A reference whose
/// closing "%" follows a backslash is skipped. References without end, or a text that grows
/// past 1 MiB, end the process with a message.
void substitute(WString& text, const SimpleProperties& properties);

#endif
