#include "javarun/CommonTool.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "foundation/PropertyKeys.h"
#include "foundation/WException.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

namespace {

constexpr int defaultSearchLevel = 4;
constexpr int defaultLibNumber = 4096;
constexpr char recursiveMark[] = "**";
constexpr unsigned int recursiveMarkWithSlash = 3;

int readLimit(const SimpleProperties& props, const char* key, int fallback, int max,
              const char* complaint) {
  WString text;
  if (!props.get(key, text)) return fallback;
  const long limit = std::strtol(text.c_str(), nullptr, 10);
  if (limit < 1 || limit > max) Logging::FatalError(complaint);
  return static_cast<int>(limit);
}

/// The archives of one directory, as the platform layer lists them.
class ArchiveList {
 public:
  ArchiveList(const WString& directory, int maxCount, int maxDepth)
      // One place more than the maximum: a full listing may still write the null of a directory
      // that it cannot open.
      : list_(withMemoryException(
                  [&] { return new char* [static_cast<std::size_t>(maxCount) + 1] {}; }),
              Destroy{maxCount}) {
    char** list = list_.get();
    sii_CreateClassPathDirectoryListRecursive(directory.c_str(), list, 0, 1, maxCount, maxDepth);
  }

  template <class Visit>
  void forEach(Visit&& visit) const {
    char* const* const end = list_.get() + list_.get_deleter().count;
    for (char* const* entry = list_.get(); entry != end && *entry != nullptr; ++entry) {
      visit(std::string_view(*entry));
    }
  }

 private:
  struct Destroy {
    int count;
    void operator()(char** list) const { sii_DestroyDirectoryList(list, count); }
  };

  std::unique_ptr<char*[], Destroy> list_;
};

bool belongsOnClassPath(std::string_view path) {
  // ".clas" can only match names such as "x.jar.clas": class files are not in the listing.
  return path.ends_with(".jar") || path.ends_with(".zip") || path.ends_with(".clas");
}

}  // namespace

int CommonConfig::searchLevel = defaultSearchLevel;
int CommonConfig::libNumberOfOnePath = defaultLibNumber;

void CommonConfig::initConfig(const SimpleProperties& props) {
  searchLevel = readLimit(props, keys::classPathSearchLevel, defaultSearchLevel, 12,
                          "extend class path search level not validate");
  libNumberOfOnePath = readLimit(props, keys::classPathMaxLibNumber, defaultLibNumber, 8192,
                                 "extend class path max lib number not validate");
}

WString CommonTool::expandDirToClassPath(const WString& dir) {
  const bool recursive = dir.view().ends_with(recursiveMark);
  WString searched = dir;
  if (recursive) searched.erase(dir.length() - std::min(dir.length(), recursiveMarkWithSlash));

  const ArchiveList archives(searched, CommonConfig::libNumberOfOnePath,
                             recursive ? CommonConfig::searchLevel : 1);
  WString classPath = dir;
  archives.forEach([&](std::string_view path) {
    if (!belongsOnClassPath(path)) return;
    classPath += ':';
    classPath += path;
  });
  return classPath;
}

std::vector<WString> CommonTool::splitEx(const WString& text, const WString& separator) {
  std::vector<WString> pieces;
  unsigned int start = 0;
  if (!separator.empty()) {
    for (unsigned int end = 0; (end = text.find(separator, start)) != WString::npos;) {
      pieces.push_back(text.substr(start, end - start));
      start = end + separator.length();
    }
  }
  if (start < text.length()) pieces.push_back(text.substr(start));
  return pieces;
}

bool CommonTool::isContainsSpace(const char* text) {
  return std::strchr(text, ' ') != nullptr;
}
