#ifndef VELOX_KVF_LSP_WORKSPACE_H
#define VELOX_KVF_LSP_WORKSPACE_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/launch/SourceTexts.h"
#include "kvf/lsp/TextDocument.h"

/// A file that is open in the editor. Its text is here, and may differ from the file's.
struct OpenDocument {
  std::string uri;  ///< as the client writes it
  std::string
      path;  ///< absolute; for a document that is not a file, as if it were in the first root
  std::string identity;  ///< the path without links, by which files are compared
  std::int64_t version = 0;
  TextDocument document;
};

/// The launches that a file stands for, as `kvf check FILE` sees it, from the working directory.
/// The given texts, by paths without links, stand for those of files; that of the file is among
/// them. Throws where there is no answer.
using InspectOpened =
    std::function<std::vector<Inspection>(const std::string& file, const GivenTexts& given)>;

/// What the editor has sent.
struct Workspace {
  InspectOpened inspect;
  TextUnits units;
  std::vector<std::string> roots;                 ///< absolute paths
  std::map<std::string, OpenDocument> documents;  ///< by URI
};

std::string identityOf(const std::string& path);

/// The folder that the file's launches are looked at from: the innermost root that holds it; empty:
/// this process's own.
std::string folderOf(const Workspace& workspace, const std::string& path);

#endif
