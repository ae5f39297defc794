#include "config/PropertiesLocation.h"

#include <cstdlib>

#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "platform/OS_Abstractions.h"

namespace {

bool rewriteIfIn(std::string_view pathElement, WString& name) {
  const WString directory(withoutTrailingSlash(pathElement));
  if (sii_fileExists(directory.c_str(), name.c_str()) == 0) return false;
  name = directory + "/" + name;
  return true;
}

}  // namespace

PropertiesLocation locatePropertiesFile(const SimpleProperties& options, const char* programName) {
  const WString workingDirectory = sii_GetCurrentDirectory();
  PropertiesLocation location;
  const bool named = options.get(keys::propertiesFile, location.name);
  if (!named) location.name = GetBinaryNameFromPath(programName) + ".kvf";

  if (sii_fileExists(workingDirectory.c_str(), location.name.c_str()) != 0) {
    location.fullPath = workingDirectory + "/" + location.name;
    return location;
  }
  if (!named) SearchPropFileInPATH(location.name);
  location.fullPath = location.name;
  return location;
}

bool SearchPropFileInPATH(WString& name) {
  const WString path = std::getenv("PATH");
  unsigned int start = 0;
  for (unsigned int at = 0; at <= path.length(); ++at) {
    const bool atEnd = at == path.length();
    if (!atEnd && !isPathSeparator(path[at])) continue;
    // An empty piece does not move the start, so its separator begins the next piece, which then
    // names no directory.
    if (at == start) continue;
    if (rewriteIfIn(path.view().substr(start, at - start), name)) return true;
    start = at + 1;
  }
  return false;
}
