#include "platform/OS_Abstractions.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/WString.h"
#include "logging/Logging.h"
#include "platform/ArchiveListing.h"
#include "platform/ChildProcess.h"
#include "platform/Directory.h"

namespace {

/// Copies of the texts, each from an offset on, for sii_DestroyDirectoryList to free.
void storeCopies(const std::vector<WString>& texts, std::size_t from, char** slot) {
  for (const WString& text : texts) {
    const std::string_view kept = text.view().substr(from);
    *slot = withMemoryException([&] { return new char[kept.size() + 1]; });
    (*slot)[kept.copy(*slot, kept.size())] = '\0';
    ++slot;
  }
}

}  // namespace

void* sii_LoadSharedLibrary(const char* path) {
  return ::dlopen(path, RTLD_LAZY | RTLD_GLOBAL);
}

void* sii_GetProcAddress(void* handle, const char* symbol) {
  return ::dlsym(handle, symbol);
}

int sii_FreeLibrary(void* handle) {
  return ::dlclose(handle);
}

int sii_ChangeDirectory(const char* path) {
  return ::chdir(path);
}

char* sii_GetCurrentDirectory() {
  static std::string current;
  std::vector<char> buffer(PATH_MAX);
  while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
    if (errno != ERANGE) return current.data();
    buffer.resize(buffer.size() * 2);
  }
  current = buffer.data();
  return current.data();
}

int sii_GetProcessID() {
  return ::getpid();
}

int sii_execvp(const char* file, char* const* argv) {
  return ::execvp(file, argv);
}

int sii_access(const char* path, int mode) {
  return ::access(path, mode);
}

bool fileIsThere(const char* path) {
  return sii_access(path, F_OK) == 0;
}

int sii_chmodFile(const char* path, unsigned short mode) {
  return ::chmod(path, mode);
}

int sii_fileExists(const char* directory, const char* name) {
  const std::string_view wanted = name;
  if (wanted.empty() || wanted.find('/') != std::string_view::npos) return 0;

  // Listing a directory such as /usr/bin costs more than everything else in a start, and a name
  // that is not there is in no listing either. A name that is there is still looked up in the
  // listing, which sees a directory's own spelling and needs the right to read it.
  struct stat status = {};
  WString path = directory;
  path += '/';
  path += name;
  if (::lstat(path.c_str(), &status) != 0 && errno == ENOENT) return 0;

  Directory listing(directory);
  if (!listing) return 0;
  while (const char* entry = listing.next()) {
    if (wanted == entry) return 1;
  }
  return 0;
}

int sii_CreateClassPathDirectoryListRecursive(const char* directory, char**& list, int index,
                                              int level, int maxCount, int maxDepth) {
  if (list == nullptr) throw WException(WException::getDefaultMemoryException());
  const auto room = static_cast<std::size_t>(std::max(maxCount - index, 0));
  const std::vector<WString> archives = listArchives(directory, room, maxDepth - level + 1);
  storeCopies(archives, 0, list + index);
  return index + static_cast<int>(archives.size());
}

void sii_CreateClassPathDirectoryList(const char* directory, char**& list) {
  const std::vector<WString> archives = listArchives(directory, SIZE_MAX, 1);
  list = withMemoryException([&] { return new char* [archives.size() + 1] {}; });
  storeCopies(archives, std::strlen(directory) + 1, list);
}

void sii_DestroyDirectoryList(char**& list, int count) {
  if (list == nullptr) return;
  for (int i = 0; i < count && list[i] != nullptr; ++i) delete[] list[i];
  delete[] list;
}

int sii_execute_program_in_new_process(char* const* argv, int nullIndex) {
  Logging::Debug("\nready to start  new process...\n");
  ChildProcess child([&](const ChildProcess& self) {
    if (argv[nullIndex] != nullptr) ChildProcess::fail({"you must set more one arg as NULL"});
    self.execute(argv);
    ChildProcess::fail({"Failed to exec :", std::strerror(errno)});
  });
  if (child.failed()) Logging::FatalError("can't fork new process");
  Logging::Debug("Waiting for new process...");
  return child.wait();
}
