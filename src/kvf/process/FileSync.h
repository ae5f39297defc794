#ifndef VELOX_KVF_PROCESS_FILESYNC_H
#define VELOX_KVF_PROCESS_FILESYNC_H

#include <filesystem>

/// Waits until the file has been stored, where the file system can. Throws FileError.
void syncFile(const std::filesystem::path& file);
/// The same for an open file; the name is for messages.
void syncFile(int descriptor, const std::filesystem::path& file);
/// Waits until the names in the folder have been stored, where the user and the file system can.
void syncFolder(const std::filesystem::path& folder) noexcept;
/// Waits until the file system has stored what was written to it.
void syncFileSystem(const std::filesystem::path& inside);

#endif
