#ifndef VELOX_LAUNCHER_DISPLAYS_H
#define VELOX_LAUNCHER_DISPLAYS_H

/// The texts that the launcher itself shows on standard output.
void DisplayUsage(const char* programName);
void DisplayVersion();
void DisplayPID();

#endif
