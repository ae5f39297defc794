#ifndef VELOX_KVF_COMMANDS_LAUNCHES_H
#define VELOX_KVF_COMMANDS_LAUNCHES_H

#include <string>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/launch/SourceTexts.h"

/// Launches, found by what starts them. Files in `given` are not read. Both throw
/// std::runtime_error with a sentence when nothing there starts the launcher.

/// The launch of a command line as it is typed, of the launcher or of a start script.
Inspection inspectTyped(const std::vector<std::string>& commandLine, const GivenTexts& given = {});

/// The launches of a service unit in the order of its commands, in the surroundings that systemd
/// would give them. The first one of the service itself comes first.
std::vector<Inspection> inspectUnit(const std::string& file, const GivenTexts& given = {});

#endif
