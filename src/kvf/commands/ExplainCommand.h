#ifndef VELOX_KVF_COMMANDS_EXPLAINCOMMAND_H
#define VELOX_KVF_COMMANDS_EXPLAINCOMMAND_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

/// Adds `kvf explain FILE`: what a run would use, and where each setting comes from. What stood
/// behind "--" are further arguments of the launcher. When the command is given, parsing runs it
/// and puts the exit status into `status`: 0, or 2 when the file cannot be explained. REQUIRES:
/// both outlive the parsing.
void addExplainCommand(CLI::App& app, const std::vector<std::string>& behindDashes, int& status);

#endif
