// A class path: its elements, and the directories that are looked into (none can be opened here).

#include <dirent.h>
#include <fcntl.h>

#include "Fuzzing.h"
#include "javarun/ClassPath.h"

namespace {

Texts opened;
bool expanding = false;

}  // namespace

/// In place of the library's: no input leads to a directory of this machine. libFuzzer lists its
/// corpus with it.
extern "C" DIR* opendir(const char* name) {
  if (!expanding) return ::fdopendir(::open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  opened.emplace_back(name);
  return nullptr;
}

namespace {

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string modelOfExpansion(std::string classPath, Texts& directories) {
  for (char& c : classPath) c = c == ';' ? ':' : c;
  std::string expanded;
  for (std::string piece : splitAt(':', classPath)) {
    if (piece.empty()) continue;
    if (piece.back() == '/' || piece.back() == '\\') piece.pop_back();
    const bool archive =
        contains(piece, ".zip") || contains(piece, ".jar") || contains(piece, ".class");
    if (!archive && !piece.empty()) {
      const bool recursive = piece.ends_with("**");
      directories.push_back(recursive ? piece.substr(0, piece.size() < 3 ? 0 : piece.size() - 3)
                                      : piece);
    }
    if (!piece.empty()) expanded += piece + ":";
  }
  return expanded;
}

Texts modelOfSplit(std::string text, const std::string& separator) {
  Texts pieces;
  for (std::size_t at = 0; (at = text.find(separator)) != std::string::npos;) {
    pieces.push_back(text.substr(0, at));
    text.erase(0, at + separator.size());
  }
  if (!text.empty()) pieces.push_back(text);
  return pieces;
}

}  // namespace

void fuzz(std::string_view input) {
  const std::string text = upToNul(input);
  opened.clear();
  expanding = true;
  const std::string expanded = textOf(joinedClassPath(expandedClassPath(text)));
  expanding = false;
  Texts directories;
  requireSame("expanded class path", modelOfExpansion(text, directories), expanded);
  requireSame("directories", directories, opened);
  for (const char* separator : {":", "ab", "aa"}) {
    requireSame("pieces", modelOfSplit(text, separator),
                textsOf(CommonTool::splitEx(text.c_str(), separator)));
  }
}
