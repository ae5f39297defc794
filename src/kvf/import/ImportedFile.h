#ifndef VELOX_KVF_IMPORT_IMPORTEDFILE_H
#define VELOX_KVF_IMPORT_IMPORTEDFILE_H

#include <string>
#include <vector>

#include "kvf/import/JavaCommandLine.h"
#include "kvf/import/JavaStart.h"

struct ImportRequest {
  std::string secretsInclude;     ///< where the file shall find its secrets; empty: in itself
  std::string argumentsVariable;  ///< whose words follow the arguments; empty: none
  std::string optionsVariable;    ///< the same for the options of the JVM
};

/// A properties file that starts what the command line starts.
struct ImportedFile {
  std::string text;
  std::string secrets;              ///< the text of the included file; empty: there are none
  bool holdsSecrets = false;        ///< the text itself has some
  std::vector<std::string> losses;  ///< what is not carried, in sentences; the text has them too
};

/// The entries for arguments that a start script hands over in a file of their own, which the
/// variable with "_FILE" after its name tells.
std::string laterArguments(const std::string& variable);

/// Throws ImportError when the archive or module does not tell what to start.
ImportedFile importedFile(const JavaStart& start, const JavaCommandLine& line,
                          const ImportRequest& request = {});

#endif
