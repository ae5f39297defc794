#ifndef VELOX_HOSTING_SHAREDLIBRARY_H
#define VELOX_HOSTING_SHAREDLIBRARY_H

#include "foundation/WString.h"

/// Loads a shared library. Ends the process when that fails, with a line that shows `shownName`,
/// the configured text that the path comes from.
void* openSharedLibrary(const WString& path, const WString& shownName);

/// Unloads a library; a failure is only a debug message.
void closeSharedLibrary(void* library);

#endif
