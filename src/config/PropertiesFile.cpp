#include "config/PropertiesFile.h"

#include <cstdlib>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "config/AssemblyObserver.h"
#include "config/Commands.h"
#include "config/PropertiesScanner.h"
#include "config/VariableSubstitution.h"
#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "platform/Stream.h"

SimpleProperties gProps;

namespace {

constexpr std::size_t firstRead = 65536;
constexpr std::size_t fileSizeLimit = 1048576;
constexpr int maxIncludeDepth = 1024;

constexpr char includePrefix[] = "velox.include.kvf";
// In a last line without a line end this shorter prefix makes an include; nothing there is
// exported.
constexpr char includePrefixAtEndOfText[] = "velox.include";

/// What stays the same from the main file down to the deepest include.
struct Parse {
  const SimpleProperties& options;
  const SimpleProperties& lookupFirst;
  bool noExport;
  AssemblyObserver* observer;  ///< may be null
};

/// The text of a file. Nothing when it cannot be read to its end or reaches the size limit.
std::optional<std::string> readText(std::FILE* file) {
  std::string text(firstRead, '\0');
  std::size_t length = 0;
  for (;;) {
    length += std::fread(text.data() + length, 1, text.size() - length, file);
    if (length < text.size()) break;
    if (text.size() == fileSizeLimit) return std::nullopt;
    text.resize(fileSizeLimit);
  }
  if (std::ferror(file) != 0) return std::nullopt;
  text.resize(length);
  // Nested includes keep the texts of all levels.
  text.shrink_to_fit();
  return text;
}

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

SimpleProperties parseFile(const char* fileName, const Parse& parse,
                           const SimpleProperties& lookupLast, int depth);

void storeEntry(PropertiesEntry& entry, const Parse& parse, const SimpleProperties& lookupLast,
                int depth, SimpleProperties& entries) {
  if (parse.observer != nullptr && !parse.observer->entryScanned(entry)) return;
  ReplaceVariables(entry.value, parse.lookupFirst, entries, lookupLast, parse.observer);
  if (entry.key.startsWith(entry.endedByLineEnd ? includePrefix : includePrefixAtEndOfText)) {
    if (parse.observer != nullptr) parse.observer->includeFound(entry.value);
    parseFile(entry.value.c_str(), parse, entries, depth + 1)
        .forEach([&](const WString& key, const WString& value) { entries.set(key, value); });
  } else {
    if (parse.observer != nullptr) parse.observer->entryStored(entry.key, entry.value);
    entries.set(entry.key, entry.value);
  }
  if (parse.noExport || !entry.endedByLineEnd) return;
  exportEnvironmentVariable(entry.key, entry.value, parse.lookupFirst, entries, parse.observer);
}

SimpleProperties parseFile(const char* fileName, const Parse& parse,
                           const SimpleProperties& lookupLast, int depth) {
  const WString name = fileName;
  Logging::Debug({name.view()});
  if (depth > maxIncludeDepth) {
    Logging::FatalError({"Include files nest too deeply at properties file : ", name.view()});
  }

  SimpleProperties entries;
  if (uninstallsNamedService(parse.options)) {
    entries.set(keys::serviceName, parse.options.valueOf(keys::serviceName));
  }
  if (fileName == nullptr) {
    if (toleratesMissingFile(parse.options)) return entries;
    Logging::FatalError("Failed to find properties file : ");
  }
  Stream file = openStream(fileName, "rb");
  if (!file) {
    if (toleratesMissingFile(parse.options)) return entries;
    Logging::FatalError({"Failed to open properties file : ", name.view()});
  }
  const std::optional<std::string> text = readText(file.get());
  file.reset();
  if (!text) {
    if (parse.observer != nullptr) parse.observer->fileUnread(name);
    return entries;
  }
  if (parse.observer != nullptr && !parse.observer->fileEntered(name, *text)) return entries;

  storeFileDirectory(name, entries);
  PropertiesScanner scanner(*text, parse.observer);
  for (PropertiesEntry entry; scanner.next(entry);) {
    storeEntry(entry, parse, lookupLast, depth, entries);
  }
  if (parse.observer != nullptr) parse.observer->fileLeft();
  return entries;
}

/// Takes NAME=value. The environment keeps pointing at the text, even in an exit handler, so the
/// texts are never destroyed; a deque leaves them where they are.
void putInEnvironment(std::string assignment) {
  using Texts = std::deque<std::string>;
  static Texts* const kept = std::make_unique<Texts>().release();
  kept->push_back(std::move(assignment));
  ::putenv(kept->back().data());
}

}  // namespace

SimpleProperties ParsePropertiesFile(const char* fileName, const SimpleProperties& options,
                                     const SimpleProperties& lookupFirst,
                                     const SimpleProperties& lookupLast, bool noExport,
                                     AssemblyObserver* observer) {
  return parseFile(fileName, {options, lookupFirst, noExport, observer}, lookupLast, 0);
}

void exportEnvironmentVariable(const WString& key, WString& value, const SimpleProperties& lookup,
                               const SimpleProperties& entriesSoFar, AssemblyObserver* observer) {
  Logging::Debug({"key: ", key.view()});
  Logging::Debug({"value: ", value.view()});
  if (!key.startsWith(keys::environmentPrefix)) return;

  if (observer != nullptr) observer->exportBegins();
  ReplaceVariables(value, lookup, entriesSoFar, entriesSoFar, observer);
  std::string assignment(key.view().substr(std::string_view(keys::environmentPrefix).size()));
  if (observer != nullptr) observer->variableExported(assignment, value);
  assignment.append("=").append(value.view());
  Logging::Debug({"Setting env variable ", assignment});
  putInEnvironment(std::move(assignment));
}
