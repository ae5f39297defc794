#ifndef VELOX_LAUNCHER_KILLCOMMAND_H
#define VELOX_LAUNCHER_KILLCOMMAND_H

#include "foundation/Properties.h"

/// Sends the signal of the kill type to the process that the process-ID file names and then removes
/// the file. The number is used as it stands: 0 and negative ones mean process groups. Without a
/// kill type it does nothing. Anything wrong before the signal is sent ends the process with a
/// message and status 1; a signal that cannot be sent is only reported.
void killWrapperProcess(const SimpleProperties& properties);

#endif
