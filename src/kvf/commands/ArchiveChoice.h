#ifndef VELOX_KVF_COMMANDS_ARCHIVECHOICE_H
#define VELOX_KVF_COMMANDS_ARCHIVECHOICE_H

#include <optional>
#include <string>
#include <vector>

#include "kvf/commands/ArchiveTraining.h"

/// An archive, and the options of the JVM to start from it with besides those that use it.
struct ChosenArchive {
  TrainedArchive archive;
  std::vector<std::string> further;
};

/// Measures starts with the archive, and for commands that end soon also with other options and an
/// archive that is made with these, and prints the times. The one that gains most; nothing when
/// none is to be taken.
std::optional<ChosenArchive> chooseArchive(const CdsOptions& options,
                                           const std::vector<std::string>& command,
                                           const Inspection& inspection,
                                           const ClassDataLaunch& launch, ArchiveTraining& training,
                                           const TrainedArchive& trained);

#endif
