#ifndef VELOX_CONFIG_PROCESSIDFILE_H
#define VELOX_CONFIG_PROCESSIDFILE_H

/// Writes this process's ID into the file, without a line end, as the kill command reads it. A file
/// that cannot be written whole is reported like one that cannot be opened, and holds nothing then:
/// the first digits alone would be another process.
void writeProcessIdFile(const char* fileName);

#endif
