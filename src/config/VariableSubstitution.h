#ifndef VELOX_CONFIG_VARIABLESUBSTITUTION_H
#define VELOX_CONFIG_VARIABLESUBSTITUTION_H

#include "foundation/Properties.h"

/// Replaces every %name% in the value by, in this order: the variable of that name in `first`, the
/// environment variable, the property in `second`, the property in `third`, else nothing. "\%" is a
/// literal percent sign. More than 100 references end the process with a message.
void ReplaceVariables(WString& value, const SimpleProperties& first, const SimpleProperties& second,
                      const SimpleProperties& third);

/// The older substitution, of the legacy script alone: the first backslash with the character after
/// it becomes "/", the first %PSP% becomes ":", and every %name% is replaced by the property, else
/// the environment variable, else nothing, until no reference is left. References that bring
/// themselves along end the process with a message.
void substitute(WString& text, const SimpleProperties& properties);

#endif
