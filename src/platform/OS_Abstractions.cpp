#include "platform/OS_Abstractions.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/WException.h"
#include "foundation/WString.h"
#include "logging/Logging.h"
#include "platform/ChildProcess.h"
#include "platform/Directory.h"

namespace {

bool isArchiveName(std::string_view name) {
  return name.find(".jar") != std::string_view::npos || name.find(".zip") != std::string_view::npos;
}

char* newEntry(std::initializer_list<std::string_view> pieces) {
  std::size_t length = 0;
  for (const std::string_view piece : pieces) length += piece.size();
  char* const entry = withMemoryException([&] { return new char[length + 1]; });
  char* end = entry;
  for (const std::string_view piece : pieces) end = std::copy(piece.begin(), piece.end(), end);
  *end = '\0';
  return entry;
}

std::vector<WString> archivesIn(const char* directory) {
  std::vector<WString> names;
  Directory listing(directory);
  if (!listing) return names;
  while (const char* name = listing.next()) {
    if (isArchiveName(name) && listing.type() == EntryType::regularFile) {
      names.emplace_back(name);
    }
  }
  return names;
}

/// One recursive listing: the limits and the list, with the path of the directory being read.
class ArchiveWalk {
 public:
  ArchiveWalk(const char* directory, char** list, int index, int maxCount, int maxDepth)
      : path_(directory), list_(list), index_(index), maxCount_(maxCount), maxDepth_(maxDepth) {}

  void enter(Directory directory, int level) {
    if (!directory) {
      list_[index_] = nullptr;
      return;
    }
    while (const char* name = directory.next()) {
      if (!visit(directory, name, level)) return;
    }
  }

  [[nodiscard]] int index() const { return index_; }

 private:
  /// False when the list is full, which ends the reading of this directory.
  bool visit(Directory& directory, const char* name, int level) {
    const EntryType type = directory.type();
    if (type == EntryType::directory) {
      const std::string_view text = name;
      if (text != "." && text != ".." && level < maxDepth_) {
        const unsigned int length = path_.length();
        path_ += '/';
        path_ += name;
        enter(directory.openChild(name), level + 1);
        path_.erase(length);
      }
      return true;
    }
    if (type != EntryType::regularFile || !isArchiveName(name)) return true;
    if (index_ >= maxCount_) return false;
    list_[index_++] = newEntry({path_.view(), "/", name});
    return true;
  }

  WString path_;
  char** list_;
  int index_;
  int maxCount_;
  int maxDepth_;
};

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
  ArchiveWalk walk(directory, list, index, maxCount, maxDepth);
  walk.enter(Directory(directory), level);
  return walk.index();
}

void sii_CreateClassPathDirectoryList(const char* directory, char**& list) {
  list = withMemoryException([&] {
    const std::vector<WString> names = archivesIn(directory);
    char** entries = new char* [names.size() + 1] {};
    for (std::size_t i = 0; i < names.size(); ++i) entries[i] = newEntry({names[i].view()});
    return entries;
  });
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
