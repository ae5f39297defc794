#ifndef VELOX_PLATFORM_OS_ABSTRACTIONS_H
#define VELOX_PLATFORM_OS_ABSTRACTIONS_H

/// The operating system as the launcher sees it: dynamic libraries, directories, the working
/// directory, process identity and child processes. Unless a comment says otherwise a function
/// passes its arguments to the POSIX call of the same name and returns that call's result.

/// dlopen, lazy and global. Null on failure; dlerror() then has the reason.
void* sii_LoadSharedLibrary(const char* path);
/// dlsym. Null on failure.
void* sii_GetProcAddress(void* handle, const char* symbol);
int sii_FreeLibrary(void* handle);

int sii_ChangeDirectory(const char* path);
/// The working directory, valid until the next call. When the system cannot report it, the
/// previous answer; at first the empty text.
char* sii_GetCurrentDirectory();
int sii_GetProcessID();
/// Returns only on failure.
int sii_execvp(const char* file, char* const* argv);
int sii_access(const char* path, int mode);
/// Whether the path leads to anything; a dangling link does not.
bool fileIsThere(const char* path);
int sii_chmodFile(const char* path, unsigned short mode);

/// 1 when the directory's listing holds an entry (of any type) of exactly that name, else 0. A name
/// with a "/" is in no listing.
int sii_fileExists(const char* directory, const char* name);

/// listArchives into a list of `maxCount` null pointers: stores copies from slot `index` on and
/// returns the index after the last. `level` is the depth of the directory, at most `maxDepth`. A
/// null list throws the default memory exception. Interface only.
int sii_CreateClassPathDirectoryListRecursive(const char* directory, char**& list, int index,
                                              int level, int maxCount, int maxDepth);
/// The bare names of the archives in one directory, in a new list that ends with a null. Interface
/// only.
void sii_CreateClassPathDirectoryList(const char* directory, char**& list);
/// Frees the texts up to the first null or `count`, and the list; the pointer is left dangling.
/// Interface only.
void sii_DestroyDirectoryList(char**& list, int count);

/// Runs argv[0] along PATH as a child and waits for it; returns the raw wait status. `nullIndex` is
/// the index of the null that ends argv. Ends the process when it cannot fork; what goes wrong in
/// the child ends the child with a message and status 255.
int sii_execute_program_in_new_process(char* const* argv, int nullIndex);

#endif
