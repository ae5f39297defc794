#ifndef VELOX_KVF_LAUNCH_INSPECTOR_H
#define VELOX_KVF_LAUNCH_INSPECTOR_H

#include <string>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/launch/SourceTexts.h"

/// Puts a command line, from the program's name on, through the launcher's own assembly, twice
/// where a launch would start itself again. The environment is exported within this process and
/// restored afterwards, as are the working directory and the launcher's process-wide state; nothing
/// is started, loaded or written. Where a launch would end with a message, that becomes a failure,
/// and the assembly goes on without what caused it. Each file is read once; those in `given` are
/// not read at all. Without surroundings it is a launch from here.
///
/// Throws EndlessSource for a file that has no end.
/// Not for use from several threads.
Inspection inspectCommandLine(const std::vector<std::string>& commandLine,
                              const GivenTexts& given = {},
                              const LaunchSurroundings* surroundings = nullptr);

/// The same for a single file, as if a launcher got its absolute path and the further arguments.
/// Places in it, and in files below its folder, are named as the file was.
Inspection inspectFile(const std::string& file, const std::vector<std::string>& arguments = {},
                       const GivenTexts& given = {});

#endif
