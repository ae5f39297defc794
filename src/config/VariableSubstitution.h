#ifndef VELOX_CONFIG_VARIABLESUBSTITUTION_H
#define VELOX_CONFIG_VARIABLESUBSTITUTION_H

#include "foundation/Properties.h"

/// Replaces every %name% in the value by, in this order: the variable of that name in `first`, the
/// environment variable, the property in `second`, the property in `third`, else nothing. "\%" is a
/// literal percent sign. More than 100 references end the process with a message.
void ReplaceVariables(WString& value, const SimpleProperties& first, const SimpleProperties& second,
                      const SimpleProperties& third);

#endif
