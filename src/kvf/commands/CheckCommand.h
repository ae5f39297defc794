#ifndef VELOX_KVF_COMMANDS_CHECKCOMMAND_H
#define VELOX_KVF_COMMANDS_CHECKCOMMAND_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

/// Adds `kvf check`: the findings of files, or of the command line that stood behind "--". When the
/// command is given, parsing runs it and puts the exit status into `status`: 0 nothing found, 1
/// something found, 2 could not be checked. REQUIRES: both outlive the parsing.
void addCheckCommand(CLI::App& app, const std::vector<std::string>& behindDashes, int& status);

#endif
