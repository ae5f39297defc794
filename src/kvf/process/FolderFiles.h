#ifndef VELOX_KVF_PROCESS_FOLDERFILES_H
#define VELOX_KVF_PROCESS_FOLDERFILES_H

#include <filesystem>
#include <string>
#include <vector>

/// What is in a folder. Unlike the walk of the standard library it never ends the process when
/// memory runs out. Throws FileError.
std::vector<std::string> namesIn(const std::filesystem::path& folder);

/// The names of all files below the folder, relative to it and in order. Links are followed as by
/// any program, but not into a folder that the way leads through already; what leads nowhere is no
/// file. Throws FileError where something cannot be looked at, and Interruption.
std::vector<std::string> filesBelow(const std::filesystem::path& folder);

#endif
