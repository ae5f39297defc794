#ifndef VELOX_KVF_IMPORT_IMPORTEDFILE_H
#define VELOX_KVF_IMPORT_IMPORTEDFILE_H

#include <string>
#include <vector>

#include "kvf/import/JavaCommandLine.h"
#include "kvf/import/JavaStart.h"

struct ImportRequest {
  std::string secretsInclude;     ///< where the file finds its secrets; empty: in itself
  std::string argumentsVariable;  ///< a variable whose words follow the arguments; empty: none
  std::string optionsVariable;    ///< the same for the options of the JVM
};

/// A properties file that starts what the command line starts.
struct ImportedFile {
  std::string text;
  std::string secrets;        ///< the text of the included file; empty: there are none
  bool holdsSecrets = false;  ///< the text itself has secrets
  std::vector<std::string>
      losses;  ///< what is not carried over, in sentences; the text has them too
};

/// The entries for arguments that a start script passes on in a file of their own, whose name is in
/// the variable with "_FILE" after its name.
std::string laterArguments(const std::string& variable);

/// Throws ImportError when the archive or module does not say what to start.
ImportedFile importedFile(const JavaStart& start, const JavaCommandLine& line,
                          const ImportRequest& request = {});

#endif
