#ifndef VELOX_HOSTING_LIBRARYLOADING_H
#define VELOX_HOSTING_LIBRARYLOADING_H

#include "foundation/WString.h"
#include "platform/SharedLibrary.h"

/// Loads a library of the application. Ends the process when that fails: the loader's reason as a
/// debug line, a line that shows `configured`, the setting that the path comes from, and the
/// catalogue message with the path.
SharedLibrary loadLibrary(const WString& path, const WString& configured);

/// Closes the library; a refusal is only a debug line.
void unloadLibrary(SharedLibrary& library);

#endif
