#ifndef VELOX_KVF_LAUNCH_ASSEMBLYRECORDER_H
#define VELOX_KVF_LAUNCH_ASSEMBLYRECORDER_H

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "config/AssemblyObserver.h"
#include "kvf/launch/AssemblyRun.h"
#include "kvf/launch/SourceTexts.h"

/// What an assembly leaves out because the launch would end there. Files are numbered in the order
/// of reading, which this does not change.
struct SkippedEntries {
  std::set<std::pair<int, std::size_t>> entries;  ///< file and offset of the key
  bool globalFile = false;
};

/// Ends an assembly whose references bring too much text for an inspection.
struct TooMuchText {};

/// Writes down one assembly with the position of everything. An include that leads back to a file
/// that is being read is skipped and noted.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): it has no derived classes
class AssemblyRecorder final : public AssemblyObserver {
 public:
  /// REQUIRES: all outlive the recorder.
  AssemblyRecorder(const SkippedEntries& skip, SourceTexts& texts, AssemblyRun& run)
      : skip_(skip), texts_(texts), run_(run) {}

  void argumentScanned(const ScannedArgument& argument) override;
  PropertiesText readFile(const char* name) override;
  bool fileEntered(const WString& name, std::string_view text) override;
  void fileUnread(const WString& name) override;
  void fileLeft() override;
  void fileFails(FileFailure why) override { fileFailure_ = why; }
  void lineDropped(std::size_t offset) override;
  void controlEscaped(std::size_t offset) override;
  bool entryScanned(const PropertiesEntry& scanned) override;
  void referenceReplaced(const ReplacedReference& reference) override;
  void includeFound(const WString& name) override;
  void entryStored(const WString& key, const WString& value) override;
  void exportBegins() override;
  void variableExported(std::string_view name, const WString& value) override;
  bool globalFileFound(const WString& name) override;
  void globalEntryMerged(const WString& key, bool taken) override;

  /// What ended the assembly with this message, judged by where it stopped.
  [[nodiscard]] Failure failure(const std::string& message) const;
  /// What ended it with TooMuchText.
  [[nodiscard]] Failure expansionFailure() const;
  /// Adds what ended the assembly to what is skipped; false when nothing can be.
  bool skipLatest(SkippedEntries& skip) const;

 private:
  /// A file that is being read.
  struct Open {
    int file;
    const SourceTexts::Source& source;
  };
  struct Range {
    std::size_t start, end;
  };

  /// True while the file is being read: it, or one that it includes.
  [[nodiscard]] bool isOpen(const SourceTexts::Source& source) const;
  [[nodiscard]] int currentFile() const { return open_.back().file; }
  [[nodiscard]] Position positionAt(std::size_t offset) const;
  SourceFile& addFile(const WString& name);

  const SkippedEntries& skip_;
  SourceTexts& texts_;
  AssemblyRun& run_;
  std::vector<Open> open_;
  std::vector<Range> replacements_;  ///< within the value that is being substituted
  std::size_t latestKeyAt_ = 0;
  std::size_t recordedBytes_ = 0;
  std::size_t replacedBytes_ = 0;
  FileFailure fileFailure_ = FileFailure::notOpened;
  Position latestInclude_;  ///< that was begun, or ended
  bool exporting_ = false;
  bool substituting_ = false;
  bool includePending_ = false;
  bool globalPending_ = false;
  bool inGlobal_ = false;
};

#endif
