#ifndef VELOX_KVF_COMMANDS_ARCHIVECHOICE_H
#define VELOX_KVF_COMMANDS_ARCHIVECHOICE_H

#include <optional>
#include <string>
#include <vector>

#include "kvf/cds/ArchiveReport.h"
#include "kvf/commands/ArchiveTraining.h"

/// An archive, and the options of the JVM to start from it with besides those that use it.
struct ChosenArchive {
  TrainedArchive archive;
  std::vector<std::string> further;
};

/// True when starts are measured: it is known when the application has started.
bool canMeasure(const CdsOptions& options);

/// Measures starts with the archives, the best kind first, and for commands that end soon also with
/// other options and archives that are made with these; prints the times. The one that gains most,
/// or the first one when they cannot be measured; nothing when none is to be taken. The report says
/// why.
std::optional<ChosenArchive> chooseArchive(const CdsOptions& options,
                                           const std::vector<std::string>& command,
                                           const Inspection& inspection,
                                           const ClassDataLaunch& launch, ArchiveTraining& training,
                                           const std::vector<TrainedArchive>& trained,
                                           ArchiveReport& report);

#endif
