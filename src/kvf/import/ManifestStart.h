#ifndef VELOX_KVF_IMPORT_MANIFESTSTART_H
#define VELOX_KVF_IMPORT_MANIFESTSTART_H

#include <string>
#include <vector>

#include "kvf/formats/Manifest.h"

/// What only `java -jar` reads in the manifest of its archive.

/// The options of the JVM that do the same for its packages and native access. `release` is that of
/// Java, which may not have read them yet; 0: unknown.
std::vector<std::string> optionsOfManifest(const Manifest& manifest, unsigned release);

/// What no option replaces, in sentences.
std::vector<std::string> lossesOfManifest(const Manifest& manifest);

#endif
