#ifndef VELOX_KVF_LSP_LAUNCHVIEW_H
#define VELOX_KVF_LSP_LAUNCHVIEW_H

#include <map>
#include <string>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/lsp/Protocol.h"
#include "kvf/lsp/Workspace.h"

/// A stretch of a file as the client knows it.
struct ClientPlace {
  std::string uri;
  std::string identity;
  TextRange range;
};

/// The launches of one file, and its places as the client counts them. Changes the working
/// directory of this process, so it is for a copy of the server.
class LaunchView {
 public:
  /// Looks at the launches of `main`, all open documents taken as they are in the editor, but for
  /// those in `instead`, by URI. REQUIRES: the workspace outlives the view.
  LaunchView(const Workspace& workspace, const OpenDocument& main,
             const std::map<std::string, std::string>& instead = {});

  /// Adds the launches of another document, after those that are there.
  void add(const OpenDocument& document);

  /// Valid until more are added.
  [[nodiscard]] std::vector<Inspection>& inspections() { return inspections_; }

  /// Where a position is for the client; a line or file as a whole is a line.
  [[nodiscard]] ClientPlace placeOf(const Inspection& inspection, const Position& at);
  /// The index of a document among the files of an inspection; -1: it is not read.
  [[nodiscard]] static int indexOf(const Inspection& inspection, const OpenDocument& document);
  /// How many of a file's first bytes the client does not see: an editor may keep a byte order mark
  /// to itself. 0 for no file.
  [[nodiscard]] std::size_t hiddenBytes(const Inspection& inspection, int file) const;

 private:
  struct File {
    std::string uri, identity;
    std::size_t hidden;
    TextDocument document;
  };
  [[nodiscard]] std::size_t hiddenBytes(const SourceFile& file, const std::string& identity) const;
  const File& fileOf(const Inspection& inspection, const Position& at);

  const Workspace& workspace_;
  const OpenDocument& main_;
  std::map<std::string, const OpenDocument*> opened_;  ///< by identity
  GivenTexts given_;
  std::string startFolder_;
  std::vector<Inspection> inspections_;
  std::map<const SourceFile*, File> files_;
};

#endif
