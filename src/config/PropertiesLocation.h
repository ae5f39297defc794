#ifndef VELOX_CONFIG_PROPERTIESLOCATION_H
#define VELOX_CONFIG_PROPERTIESLOCATION_H

#include "foundation/Properties.h"

/// Where the properties file is.
struct PropertiesLocation {
  WString name;      ///< as it is opened
  WString fullPath;  ///< the same file, with the directory when it is in the working directory
};

/// The file that the command line names, else the program's base name with ".kvf" in the working
/// directory or along PATH. The file need not exist.
PropertiesLocation locatePropertiesFile(const SimpleProperties& options, const char* programName);

/// Looks the file up in the directories of PATH, and rewrites the name to the first that holds it.
/// False, with the name as it was, when none does.
bool SearchPropFileInPATH(WString& name);

#endif
