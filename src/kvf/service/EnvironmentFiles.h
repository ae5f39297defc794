#ifndef VELOX_KVF_SERVICE_ENVIRONMENTFILES_H
#define VELOX_KVF_SERVICE_ENVIRONMENTFILES_H

#include <string>
#include <vector>

#include "kvf/service/UnitSettings.h"

/// The files of a pattern of EnvironmentFile=, in order; a name without wildcards is itself.
std::vector<std::string> environmentFilesLike(const std::string& pattern);

/// True when the file is there, or that cannot be seen by this user.
bool mayBeThere(const std::string& file);
/// False when this user has no right to read it.
bool mayBeRead(const std::string& file);
/// Its text; empty where this user has no right to read it, and of what is no regular file. Throws
/// FileError where it cannot be read for another reason.
std::string environmentTextOf(const std::string& file);

/// Which of those files of a unit this user has no right to read, in sentences.
std::vector<std::string> forbiddenEnvironmentFiles(const UnitSettings& unit);

#endif
