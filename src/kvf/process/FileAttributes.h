#ifndef VELOX_KVF_PROCESS_FILEATTRIBUTES_H
#define VELOX_KVF_PROCESS_FILEATTRIBUTES_H

#include <filesystem>

/// Gives a new file the owner, the mode and the extended attributes of the one it is to replace.
/// Throws FileError when one that matters cannot be kept.
void takeAttributes(const std::filesystem::path& file, const std::filesystem::path& replaced);
/// The same for open files; the name is for messages.
void takeAttributes(int descriptor, int replaced, const std::filesystem::path& file);

#endif
