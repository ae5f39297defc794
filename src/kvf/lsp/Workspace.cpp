#include "kvf/lsp/Workspace.h"

#include <filesystem>

namespace fs = std::filesystem;

std::string identityOf(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::weakly_canonical(path, error);
  return error ? path : real.string();
}

std::string folderOf(const Workspace& workspace, const std::string& path) {
  std::string innermost;
  for (const std::string& root : workspace.roots) {
    const bool holds = path.starts_with(root) && (root.ends_with('/') || path[root.size()] == '/');
    if (holds && root.size() > innermost.size()) innermost = root;
  }
  return innermost;
}
