#ifndef VELOX_KVF_COMMANDS_CHECKTARGETS_H
#define VELOX_KVF_COMMANDS_CHECKTARGETS_H

#include <string>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/launch/SourceTexts.h"

struct InspectedTargets {
  std::vector<Inspection> inspections;
  std::vector<std::string> complaints;  ///< why files of a folder were not looked at, in sentences
};

/// The launches of what `kvf check` is given: properties files, folders (each .kvf below one, but
/// those that are only included by others), service units of systemd, start scripts of `kvf new`,
/// and "-" for standard input, which stands for the file `stdinName` and whose text has to be in
/// `given`, like other texts that stand for files. What is given twice counts once. Throws
/// std::runtime_error with a sentence for anything else.
InspectedTargets inspectTargets(const std::vector<std::string>& targets,
                                const std::string& stdinName, const GivenTexts& given);

#endif
