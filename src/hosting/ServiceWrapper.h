#ifndef VELOX_HOSTING_SERVICEWRAPPER_H
#define VELOX_HOSTING_SERVICEWRAPPER_H

#include "foundation/Properties.h"

/// Builds the argument vector of a native application: the program name and the positional
/// arguments of the launcher's command line, then the words of application.args. Null with a count
/// of 0 when neither is there; DestroyArgs frees it.
void CreateArgs(const SimpleProperties& properties, int& argc, char**& argv);

/// Frees the first `argc` texts, skipping null ones, and the vector; both arguments stay as they
/// are.
void DestroyArgs(int& argc, char**& argv);

/// A copy of the first `length` characters with a terminating NUL, for DestroyArgs to free. Throws
/// the default memory exception when there is no memory.
char* NewArgCopy(const char* text, unsigned long length);

/// The text after the last "/", without the first ".exe" in it.
WString GetBinaryNameFromPath(const WString& path);

#endif
