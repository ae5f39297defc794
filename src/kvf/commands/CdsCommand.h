#ifndef VELOX_KVF_COMMANDS_CDSCOMMAND_H
#define VELOX_KVF_COMMANDS_CDSCOMMAND_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

/// Adds `kvf cds`: runs an application once, so that its JVM writes a class-data archive, and tells
/// the line that uses it. What stands behind "--" is run instead of the launcher. When the command
/// is given, parsing runs it and puts the exit status into `status`: 0; 1 when an archive cannot
/// serve; 2 when that could not be found out. REQUIRES: both outlive the parsing.
void addCdsCommand(CLI::App& app, const std::vector<std::string>& behindDashes, int& status);

#endif
