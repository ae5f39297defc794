#ifndef VELOX_CONFIG_CONFIGURATION_H
#define VELOX_CONFIG_CONFIGURATION_H

#include "foundation/Properties.h"

/// True once the merged set holds java.library: a run then hosts a JVM, not a native application.
extern bool g_isJavaWrapper;

/// Assembles the one property set that everything later reads: the command line over the
/// properties file with its includes over global.kvf. Writes the process-ID file, exports the
/// file's environment entries and reads the class-path limits on the way. A properties adjuster
/// may run first. Ends the process when the configuration cannot be assembled.
SimpleProperties ParseCommandLine(int argc, char** argv);

/// Fills the keys that the file set leaves absent or empty from global.kvf, in the working
/// directory or along PATH; without such a file nothing changes. Its "velox.env." entries are
/// exported, over those of the main file, unless this is an inner process.
void HandleGlobalKVFFile(SimpleProperties& fileSet, bool innerProcess);

/// Sets every property of the command line in the file set and returns a copy of it.
SimpleProperties MergeProperties(const SimpleProperties& options, SimpleProperties& fileSet);

/// Sets g_isJavaWrapper when java.library is present, even when empty.
void UpdateProcessType(const SimpleProperties& merged);

#endif
