#ifndef VELOX_KVF_COMMANDS_KEYSCOMMAND_H
#define VELOX_KVF_COMMANDS_KEYSCOMMAND_H

namespace CLI {
class App;
}

/// Adds `kvf keys`, which is not in the help: the names that a properties file may set, or with
/// --scd the table as scdoc, from which the reference page is made. When the command is given,
/// parsing runs it.
void addKeysCommand(CLI::App& app);

#endif
