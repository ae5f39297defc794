#ifndef VELOX_KVF_CDS_ARCHIVABLECLASSPATH_H
#define VELOX_KVF_CDS_ARCHIVABLECLASSPATH_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// Class paths with folders, which keep JVMs from using an archive, and what can take their place.
/// All that looks into folders throws FileError for one that this user may not read.

/// True for a folder that is not empty, or may not be: it cannot be read. Throws nothing.
bool isFolderWithFiles(const std::filesystem::path& path);

/// The class path without folders that only held archives, as the value of java.class.path; what
/// lies below the folder is named by %kvf.file.dir%. Folders come after the archives, except those
/// that an archive is given for, which takes their place.
std::string classPathOfArchives(const std::vector<std::string>& classPath,
                                const std::filesystem::path& folder,
                                const std::map<std::string, std::string>& made = {});

/// The class path with the archives that manifests name by absolute paths, each after the one that
/// names it. A JVM takes no class of those from an archive of classes unless the class path names
/// them, too. It looks for classes in the same order as without.
std::vector<std::string> withNamedArchives(const std::vector<std::string>& classPath);

/// Folders of the class path with something other than files named as archives in them.
std::vector<std::string> foldersOfClasses(const std::vector<std::string>& classPath);

/// What is in a folder and also in an archive after it on the class path, at most 20 of them: with
/// the folder after the archives it would be taken from the archive. "NAME (from ARCHIVE)".
std::vector<std::string> changedByOrder(const std::vector<std::string>& classPath);

/// The text of an archive with all files that a JVM finds below the folder, and their folders.
std::string archiveOfFolder(const std::filesystem::path& folder);

#endif
