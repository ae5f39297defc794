#ifndef VELOX_KVF_COMMANDS_NEWCOMMAND_H
#define VELOX_KVF_COMMANDS_NEWCOMMAND_H

namespace CLI {
class App;
}

/// Adds `kvf new`: makes a folder that can be shipped out of a jar. When the command is given,
/// parsing runs it and puts the exit status into `status` (0, or 2 with a message on standard
/// error). REQUIRES: `status` outlives the parsing.
void addNewCommand(CLI::App& app, int& status);

#endif
