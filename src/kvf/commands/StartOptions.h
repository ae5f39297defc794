#ifndef VELOX_KVF_COMMANDS_STARTOPTIONS_H
#define VELOX_KVF_COMMANDS_STARTOPTIONS_H

#include <CLI/CLI.hpp>

#include "kvf/launch/StartRequest.h"

/// FILE, --until, --run-for, --pairs and --wrapper, with the launcher beside this program unless
/// that is given. `request` lives as long as the command; its pairs are the default.
void declareStart(CLI::App& command, StartRequest& request, const char* whatPairsAre);

#endif
