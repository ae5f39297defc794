#ifndef VELOX_KVF_COMMANDS_JVMCOMMAND_H
#define VELOX_KVF_COMMANDS_JVMCOMMAND_H

namespace CLI {
class App;
}

/// Adds `kvf jvm`: the JVMs of this machine, or the line of a properties file that names one.
/// When the command is given, parsing runs it and puts the exit status into `status` (0; 1 when no
/// JVM suits). REQUIRES: `status` outlives the parsing.
void addJvmCommand(CLI::App& app, int& status);

#endif
