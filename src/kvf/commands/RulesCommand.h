#ifndef VELOX_KVF_COMMANDS_RULESCOMMAND_H
#define VELOX_KVF_COMMANDS_RULESCOMMAND_H

namespace CLI {
class App;
}

/// Adds `kvf rules [RULE]`: the list of rules, or one of them explained. When the command is given,
/// parsing runs it and puts the exit status into `status`: 0, or 2 for an unknown rule. REQUIRES:
/// `status` outlives the parsing.
void addRulesCommand(CLI::App& app, int& status);

#endif
