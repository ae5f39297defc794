#include "config/PropertiesFile.h"

#include <cstdlib>
#include <deque>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "config/Commands.h"
#include "config/PropertiesScanner.h"
#include "config/PropertiesText.h"
#include "config/VariableSubstitution.h"
#include "foundation/PropertyKeys.h"
#include "foundation/WString.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

SimpleProperties gProps;

namespace {

// Far beyond any real use. Depth and what is open bound memory; the others bound the time that
// files can take which include each other, or large ones, again and again.
constexpr std::size_t maxIncludeDepth = 1024;
constexpr std::size_t maxIncludedFiles = 10000;
constexpr std::size_t maxOpenText = 64 * propertiesSizeLimit;
constexpr int maxOpenEntries = 250000;
constexpr std::size_t maxReadText = 4 * maxOpenText;
constexpr int maxStoredEntries = 1000000;

/// By FileFailure.
constexpr std::string_view failureTexts[] = {
    "Failed to open", "Include files nest too deeply at", "Too many include files at",
    "Too many entries in front of includes at", "Include files are too large at"};
static_assert(std::size(failureTexts) == static_cast<std::size_t>(FileFailure::tooLarge) + 1);

WString directoryOf(const WString& fileName) {
  const std::string_view name = fileName.view();
  const std::size_t separator = name.find_last_of("/\\");
  if (separator == std::string_view::npos) return sii_GetCurrentDirectory();
  return WString(name.substr(0, separator));
}

void storeFileDirectory(const WString& fileName, SimpleProperties& entries) {
  if (gProps.valueOf(keys::fileDirectory).empty()) {
    gProps.set(keys::fileDirectory, directoryOf(fileName));
  }
  entries.set(keys::fileDirectory, gProps.valueOf(keys::fileDirectory));
  entries.set(keys::pathSeparator, ":");
}

MissingFile missingFileFor(const SimpleProperties& options) {
  const Command* command = findCommand(options.valueOf(keys::command).view());
  return command == nullptr ? MissingFile::isFatal : command->missingFile;
}

bool uninstallsNamedService(const SimpleProperties& options) {
  return missingFileFor(options) == MissingFile::isToleratedForNamedService &&
         options.contains(keys::serviceName);
}

bool toleratesMissingFile(const SimpleProperties& options) {
  return missingFileFor(options) == MissingFile::isTolerated || uninstallsNamedService(options);
}

/// A file whose entries are being taken.
struct OpenFile {
  OpenFile(std::string content, AssemblyObserver& observer)
      : text(std::move(content)), scanner(text, observer) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() = default;

  std::string text;
  PropertiesScanner scanner;
  PropertiesEntry entry;     ///< the current one; an include entry while the included file is open
  SimpleProperties entries;  ///< so far
  bool isEntered = false;    ///< it was there, and no observer refused it
};

/// Parses one file with its includes, which nest on the heap: a small call stack has no room for
/// them.
class PropertiesParser {
 public:
  PropertiesParser(const SimpleProperties& options, const SimpleProperties& lookupFirst,
                   const SimpleProperties& lookupLast, bool noExport, AssemblyObserver& observer)
      : options_(options),
        lookupFirst_(lookupFirst),
        lookupLast_(lookupLast),
        noExport_(noExport),
        observer_(observer) {}

  SimpleProperties parse(const char* fileName) {
    open(fileName);
    for (;;) {
      OpenFile& file = files_.back();
      if (file.scanner.next(file.entry)) {
        takeEntry(file);
        continue;
      }
      if (file.isEntered) observer_.fileLeft();
      if (files_.size() == 1) return std::move(file.entries);
      endInclude();
    }
  }

 private:
  void takeEntry(OpenFile& file) {
    const SimpleProperties& includer =
        files_.size() > 1 ? files_[files_.size() - 2].entries : lookupLast_;
    PropertiesEntry& entry = file.entry;
    if (!observer_.entryScanned(entry)) return;
    ReplaceVariables(entry.value, lookupFirst_, file.entries, includer, observer_);
    if (entry.key.startsWith(entry.endedByLineEnd ? keys::includePrefix
                                                  : keys::includePrefixAtEndOfText)) {
      observer_.includeFound(entry.value);
      outerEntries_ += file.entries.size();
      return open(entry.value.c_str());
    }
    observer_.entryStored(entry.key, entry.value);
    file.entries.set(entry.key, entry.value);
    ++storedEntries_;
    exportEntry(file);
  }

  /// The included file's entries become entries of the file that includes it.
  void endInclude() {
    const SimpleProperties included = std::move(files_.back().entries);
    openText_ -= files_.back().text.size();
    files_.pop_back();
    OpenFile& file = files_.back();
    outerEntries_ -= file.entries.size();
    storedEntries_ += included.size();
    if (isTooMuch()) end(FileFailure::tooLarge, file.entry.value);
    included.forEach(
        [&](const WString& key, const WString& value) { file.entries.set(key, value); });
    exportEntry(file);
  }

  void exportEntry(OpenFile& file) const {
    PropertiesEntry& entry = file.entry;
    if (noExport_ || !entry.endedByLineEnd) return;
    exportEnvironmentVariable(entry.key, entry.value, lookupFirst_, file.entries, observer_);
  }

  [[nodiscard]] bool isTooMuch() const {
    return openText_ > maxOpenText || readText_ > maxReadText || storedEntries_ > maxStoredEntries;
  }

  /// The file comes last in files_, without entries of its own when it is missing and may be.
  void open(const char* fileName) {
    const WString name = fileName;
    Logging::Debug({name.view()});
    if (files_.size() > maxIncludeDepth) end(FileFailure::tooDeep, name);
    if (opened_++ > maxIncludedFiles) end(FileFailure::tooMany, name);
    if (outerEntries_ > maxOpenEntries) end(FileFailure::tooManyEntries, name);

    std::optional<std::string> text = textOf(fileName, name);
    if (text && !observer_.fileEntered(name, *text)) text.reset();
    const bool isEntered = text.has_value();
    OpenFile& file = files_.emplace_back(std::move(text).value_or(std::string()), observer_);
    file.isEntered = isEntered;
    openText_ += file.text.size();
    readText_ += file.text.size();
    if (isTooMuch()) end(FileFailure::tooLarge, name);
    if (uninstallsNamedService(options_)) {
      file.entries.set(keys::serviceName, options_.valueOf(keys::serviceName));
    }
    if (isEntered) storeFileDirectory(name, file.entries);
  }

  /// Nothing when the file yields no entries; ends the process when it had to be there.
  std::optional<std::string> textOf(const char* fileName, const WString& name) const {
    if (fileName == nullptr) {
      if (!toleratesMissingFile(options_)) Logging::FatalError("Failed to find properties file : ");
      return std::nullopt;
    }
    PropertiesText read = observer_.readFile(fileName);
    switch (read.state) {
      case PropertiesText::State::missing:
        if (!toleratesMissingFile(options_)) end(FileFailure::notOpened, name);
        return std::nullopt;
      case PropertiesText::State::unread:
        observer_.fileUnread(name);
        return std::nullopt;
      case PropertiesText::State::read:
        break;
    }
    return std::move(read.text);
  }

  [[noreturn]] void end(FileFailure why, const WString& name) const {
    observer_.fileFails(why);
    Logging::FatalError(
        {failureTexts[static_cast<std::size_t>(why)], " properties file : ", name.view()});
  }

  const SimpleProperties& options_;
  const SimpleProperties& lookupFirst_;
  const SimpleProperties& lookupLast_;
  bool noExport_;
  AssemblyObserver& observer_;
  std::deque<OpenFile> files_;  ///< from the main file to the innermost include
  std::size_t opened_ = 0;
  std::size_t openText_ = 0;
  std::size_t readText_ = 0;  ///< of all files so far
  int outerEntries_ = 0;      ///< of all files but the innermost
  int storedEntries_ = 0;     ///< of all files, once more for every level that takes them over
};

/// Takes NAME=value. The environment keeps pointing at the text, even in an exit handler, so the
/// texts are never destroyed; a deque leaves them where they are.
void putInEnvironment(std::string assignment) {
  using Texts = std::deque<std::string>;
  static Texts* const kept = std::make_unique<Texts>().release();
  kept->push_back(std::move(assignment));
  if (::putenv(kept->back().data()) != 0) {
    throw WException(WException::getDefaultMemoryException());
  }
}

}  // namespace

SimpleProperties ParsePropertiesFile(const char* fileName, const SimpleProperties& options,
                                     const SimpleProperties& lookupFirst,
                                     const SimpleProperties& lookupLast, bool noExport,
                                     AssemblyObserver& observer) {
  return withMemoryException([&] {
    return PropertiesParser(options, lookupFirst, lookupLast, noExport, observer).parse(fileName);
  });
}

void exportEnvironmentVariable(const WString& key, WString& value, const SimpleProperties& lookup,
                               const SimpleProperties& entriesSoFar, AssemblyObserver& observer) {
  Logging::Debug({"key: ", key.view()});
  Logging::Debug({"value: ", value.view()});
  if (!key.startsWith(keys::environmentPrefix)) return;

  observer.exportBegins();
  ReplaceVariables(value, lookup, entriesSoFar, entriesSoFar, observer);
  std::string assignment(key.view().substr(std::string_view(keys::environmentPrefix).size()));
  observer.variableExported(assignment, value);
  assignment.append("=").append(value.view());
  Logging::Debug({"Setting env variable ", assignment});
  putInEnvironment(std::move(assignment));
}
