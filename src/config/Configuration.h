#ifndef VELOX_CONFIG_CONFIGURATION_H
#define VELOX_CONFIG_CONFIGURATION_H

#include <cstddef>

#include "config/AssemblyObserver.h"
#include "config/CommandLine.h"
#include "config/PropertiesLocation.h"
#include "foundation/Properties.h"

/// True once a merged set hosted a JVM. Interface only.
extern bool g_isJavaWrapper;

/// Most arguments of a launch that starts itself again, with the program name and the launcher's
/// own switches.
inline constexpr std::size_t maxArgumentsToStartAgain = 1022;

/// Assembles the one property set that everything later reads: the command line over the
/// properties file with its includes over global.kvf. Writes the process-ID file and exports the
/// file's environment entries on the way. A properties adjuster may run first. Ends the process
/// when the configuration cannot be assembled.
SimpleProperties ParseCommandLine(int argc, char** argv);

/// The part of it that only reads: parses the located file and global.kvf, exporting their
/// environment entries unless the line is that of an inner process, and lays the command line over
/// them; wrapper.kvf.file is added to it.
SimpleProperties assembleProperties(CommandLine& line, const PropertiesLocation& location,
                                    AssemblyObserver& observer = noObserver);

/// Fills the keys that the file set leaves absent or empty from global.kvf, in the working
/// directory or along PATH; without such a file nothing changes. Its "velox.env." entries are
/// exported, over those of the main file, unless this is an inner process.
void HandleGlobalKVFFile(SimpleProperties& fileSet, bool innerProcess,
                         AssemblyObserver& observer = noObserver);

/// Sets every property of the command line in the file set and returns a copy of it.
SimpleProperties MergeProperties(const SimpleProperties& options, SimpleProperties& fileSet);
/// The same result without copying, for a file set that nobody needs any more.
SimpleProperties MergeProperties(const SimpleProperties& options, SimpleProperties&& fileSet);

/// True when the set holds variables for the environment, so that a launch starts itself again to
/// be loaded under them.
bool exportsEnvironment(const SimpleProperties& merged);

/// True when the set holds java.library, even when empty: a run then hosts a JVM, not a native
/// application.
bool hostsJvm(const Properties& merged);
/// Sets g_isJavaWrapper when the set hosts a JVM.
void UpdateProcessType(const SimpleProperties& merged);

/// Changes to application.start.dir, where there is one; a failure changes nothing.
void enterStartDirectory(const Properties& merged);

#endif
