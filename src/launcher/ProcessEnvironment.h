#ifndef VELOX_LAUNCHER_PROCESSENVIRONMENT_H
#define VELOX_LAUNCHER_PROCESSENVIRONMENT_H

#include "foundation/Properties.h"

/// Makes the exported environment take effect: loads the native application library when there is
/// one, else re-executes the program once (and does not return) when the properties export
/// variables. Then shows the process ID when asked to; a re-executed run does only that.
void setupSystemEnvironment(char** argv, const SimpleProperties& properties, bool serviceMode);

/// Re-executes the program with the same arguments and "--innerProcess", if it is needed and this
/// is no service. Ends the process when that fails or there are too many arguments.
void CallExecvp_IfNecessary(bool needed, bool serviceMode, char** argv);

/// Copies the vector with "--innerProcess" at its end, null-terminated. REQUIRES: the destination
/// has room for two entries more than the source has before its null.
void addInnerProcessArgToArgv(char** source, char** destination);

/// True when the text holds the space character. Interface only.
bool isSpace(const char* text);

/// A copy of the text with every run of separators reduced to one. Nothing in the launcher calls
/// it.
WString RemoveEmptyPathSeparators(const WString& text, char separator);

#endif
