#ifndef VELOX_KVF_FORMATS_MODULEINFO_H
#define VELOX_KVF_FORMATS_MODULEINFO_H

#include <filesystem>
#include <optional>
#include <string>

#include "kvf/formats/Archive.h"

/// The bytes of the module-info.class of an archive, or of a module of a JDK (.jmod): that for all
/// releases of Java, or the first that it has for one. Nothing: there is none.
std::optional<std::string> moduleInfoIn(const Archive& archive);
/// The same of a folder with classes.
std::optional<std::string> moduleInfoIn(const std::filesystem::path& folder);

#endif
