#ifndef VELOX_CONFIG_PROPERTIESFILE_H
#define VELOX_CONFIG_PROPERTIESFILE_H

#include "config/AssemblyObserver.h"
#include "foundation/Properties.h"

/// Process-wide: holds the directory of the first properties file that was parsed, as
/// kvf.file.dir.
extern SimpleProperties gProps;

/// Reads a properties file with its include files, substitutes variables in every value and,
/// unless `noExport`, exports its "velox.env." entries to the environment as it goes, but not
/// the one of a last line without a line end.
///
/// `options` is the command-line set: a command that needs no file tolerates a missing one, else
/// a missing file ends the process with a message. Substitution (see ReplaceVariables) looks names
/// up in `lookupFirst`, the entries so far and `lookupLast`. A file that cannot be read to its end,
/// or of 1 MiB and more, yields no entries. Includes have limits, each of which ends the process:
/// 1,024 levels, 10,000 included files, 64 MiB of text and 250,000 entries in the files that are
/// open at a time, and in all 256 MiB of text and 1,000,000 entries, those of an included file
/// counted once more for every file that takes them over.
/// Exhausted memory throws the default memory exception.
SimpleProperties ParsePropertiesFile(const char* fileName, const SimpleProperties& options,
                                     const SimpleProperties& lookupFirst,
                                     const SimpleProperties& lookupLast, bool noExport,
                                     AssemblyObserver& observer = noObserver);

/// Exports a "velox.env." entry to the environment; other keys are only logged. Variables in the
/// value are substituted in place first.
void exportEnvironmentVariable(const WString& key, WString& value, const SimpleProperties& lookup,
                               const SimpleProperties& entriesSoFar,
                               AssemblyObserver& observer = noObserver);

#endif
