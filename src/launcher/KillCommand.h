#ifndef VELOX_LAUNCHER_KILLCOMMAND_H
#define VELOX_LAUNCHER_KILLCOMMAND_H

#include "foundation/Properties.h"

/// Sends the signal of the kill type to the process that the process-ID file names and removes the
/// file. Explains itself on standard output; what is wrong before the signal is sent ends the
/// process with status 1.
void killWrapperProcess(const SimpleProperties& properties);

#endif
