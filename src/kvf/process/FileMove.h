#ifndef VELOX_KVF_PROCESS_FILEMOVE_H
#define VELOX_KVF_PROCESS_FILEMOVE_H

#include <filesystem>

/// Moves that put a whole file in the place of another, or nothing. All of it throws FileError.

/// Where the file of that name is, at the end of all links; where there is nothing, the name
/// itself. A link that leads to nothing, or that another user has made to what is not that user's,
/// is an error.
std::filesystem::path endOfLinks(const std::filesystem::path& file);
/// Moves a file or folder to a name that is free, in the same file system.
void moveToFreeName(const std::filesystem::path& from, const std::filesystem::path& to);
/// Replaces the file of that name, at the end of all links, by a new one that is stored to its end,
/// and gets the owner, mode and attributes of the old one; if there is none it gets this mode.
void moveInto(const std::filesystem::path& from, const std::filesystem::path& to, unsigned mode);
/// A name beside the file that nobody can predict.
std::filesystem::path nameBeside(const std::filesystem::path& file);
/// The file at the end of all links.
std::filesystem::path realFile(const std::filesystem::path& file);

#endif
