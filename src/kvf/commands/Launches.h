#ifndef VELOX_KVF_COMMANDS_LAUNCHES_H
#define VELOX_KVF_COMMANDS_LAUNCHES_H

#include <string>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/launch/SourceTexts.h"

/// Launches by what a user has that starts them. Files in `given` are not read. Both throw
/// std::runtime_error with a sentence where nothing there is the launcher's.

/// The launch of a command line as it is typed, by the launcher or by a start script.
Inspection inspectTyped(const std::vector<std::string>& commandLine, const GivenTexts& given = {});

/// The launches of a service unit in the order of its commands, in what systemd would start them
/// in. The first one that the service itself is comes first.
std::vector<Inspection> inspectUnit(const std::string& file, const GivenTexts& given = {});

#endif
