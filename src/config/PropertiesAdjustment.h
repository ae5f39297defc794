#ifndef VELOX_CONFIG_PROPERTIESADJUSTMENT_H
#define VELOX_CONFIG_PROPERTIESADJUSTMENT_H

#include "config/PropertiesLocation.h"
#include "foundation/Properties.h"

/// What an adjuster is called.
inline constexpr char adjusterClass[] = "com.velox.orbit.launch.adjuster.Adjuster";

/// True when the command line's command lets an adjuster rewrite the properties file first; so
/// does a command line without a command.
bool isAdjustable(const SimpleProperties& options);

/// The parent's side: runs the program again with "--adjust" and waits for it. Exit code 0, also
/// that of a child killed by a signal, switches the location to the adjusted copy; 65 leaves it;
/// any other ends the process.
void runAdjustmentChild(int argc, char** argv, PropertiesLocation& location);

/// The child's side: sets the properties up to run the adjuster class on the properties file, or
/// ends the process with status 65 when no adjuster is configured.
void configureAdjuster(const WString& fullPath, SimpleProperties& properties);

#endif
