#ifndef VELOX_LAUNCHER_LEGACYSCRIPT_H
#define VELOX_LAUNCHER_LEGACYSCRIPT_H

#include "foundation/Properties.h"

/// Writes a shell script beside the properties file that wrapper.scriptArgument names: environment
/// exports, PATH and one `java` command line, made from the file's lines and the property set.
/// Without a readable file or a writable script it does nothing and reports nothing.
void generateScript(const SimpleProperties& properties);

/// Makes every element that does not end with ".jar" a directory wildcard, with ":" before each.
void checkClassPath(WString& classPath);

#endif
