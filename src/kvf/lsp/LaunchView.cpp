#include "kvf/lsp/LaunchView.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <utility>

#include "kvf/lsp/Uri.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// The text that saving the document would write: editors take a byte order mark away and put it
/// back.
std::string savedText(const OpenDocument& document, const std::string& text) {
  const bool isHidden = !text.starts_with(byteOrderMark) &&
                        textOfFile(document.path, byteOrderMark.size()) == byteOrderMark;
  return isHidden ? concat({byteOrderMark, text}) : text;
}

std::size_t offsetOf(const SourceFile& file, std::size_t line, std::size_t column) {
  if (line > file.lineStarts.size()) return file.text.size();
  return std::min(file.lineStarts[line - 1] + column - 1, file.text.size());
}

}  // namespace

LaunchView::LaunchView(const Workspace& workspace, const OpenDocument& main,
                       const std::map<std::string, std::string>& instead)
    : workspace_(workspace), main_(main) {
  for (const auto& [uri, document] : workspace.documents) {
    const auto other = instead.find(uri);
    given_[document.identity] =
        savedText(document, other == instead.end() ? document.document.text() : other->second);
    opened_[document.identity] = &document;
  }
  std::error_code error;
  startFolder_ = fs::current_path(error);
  add(main);
}

void LaunchView::add(const OpenDocument& document) {
  const fs::path folder = folderOf(workspace_, document.path);
  std::error_code error;
  fs::current_path(folder.empty() ? fs::path(startFolder_) : folder, error);
  const std::string name = folder.empty() || error
                               ? document.path
                               : fs::path(document.path).lexically_relative(folder).string();
  std::vector<Inspection> launches = workspace_.inspect(name, given_);
  std::move(launches.begin(), launches.end(), std::back_inserter(inspections_));
}

std::size_t LaunchView::hiddenBytes(const Inspection& inspection, int file) const {
  if (file < 0) return 0;
  const SourceFile& source = inspection.run().files[static_cast<std::size_t>(file)];
  return hiddenBytes(source, identityOf(inspection.pathOf({.file = file})));
}

std::size_t LaunchView::hiddenBytes(const SourceFile& file, const std::string& identity) const {
  if (!file.text.starts_with(byteOrderMark)) return 0;
  const auto open = opened_.find(identity);
  const bool isShown =
      open != opened_.end() && open->second->document.text().starts_with(byteOrderMark);
  return isShown ? 0 : byteOrderMark.size();
}

const LaunchView::File& LaunchView::fileOf(const Inspection& inspection, const Position& at) {
  const SourceFile& source = inspection.fileOf(at);
  const auto known = files_.find(&source);
  if (known != files_.end()) return known->second;
  const std::string path = inspection.pathOf(at);
  const std::string identity = identityOf(path);
  const auto open = opened_.find(identity);
  const std::size_t hidden = hiddenBytes(source, identity);
  return files_
      .emplace(&source, File{open == opened_.end() ? uriOfPath(path) : open->second->uri, identity,
                             hidden, TextDocument(source.text.substr(hidden), workspace_.units)})
      .first->second;
}

ClientPlace LaunchView::placeOf(const Inspection& inspection, const Position& at) {
  if (at.file == Position::commandLine)
    return {main_.uri, main_.identity, main_.document.lineAt(0)};
  const SourceFile& source = inspection.fileOf(at);
  const File& file = fileOf(inspection, at);
  const auto shownOffset = [&](std::size_t line, std::size_t column) {
    const std::size_t offset = offsetOf(source, line, column);
    return offset - std::min(offset, file.hidden);
  };
  if (at.line == 0 || at.column == 0)
    return {file.uri, file.identity,
            file.document.lineAt(shownOffset(std::max<std::size_t>(at.line, 1), 1))};
  return {file.uri, file.identity,
          file.document.rangeOf(shownOffset(at.line, at.column),
                                shownOffset(at.endLine, at.endColumn))};
}

int LaunchView::indexOf(const Inspection& inspection, const OpenDocument& document) {
  const int count = static_cast<int>(inspection.run().files.size());
  for (int file = 0; file < count; ++file)
    if (identityOf(inspection.pathOf({.file = file})) == document.identity) return file;
  return -1;
}
