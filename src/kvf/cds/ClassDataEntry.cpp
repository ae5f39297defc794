#include "kvf/cds/ClassDataEntry.h"

#include <algorithm>

#include "config/PropertiesScanner.h"
#include "foundation/PropertyKeys.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view archiveOption = "-XX:SharedArchiveFile=";
// Else the JVM prints a line on standard output once the archive no longer fits.
constexpr std::string_view quietOption = "-Xlog:cds*=off";
constexpr std::string_view blanks = " \t";

std::string optionsFor(std::string_view archiveName) {
  // In quotes, as the folder's name may have a blank.
  return concat({archiveOption, "\"%kvf.file.dir%/", spelledInPropertiesFile(archiveName), "\" ",
                 quietOption});
}

/// Where the word that starts at the position ends; a quoted stretch belongs to it.
std::size_t endOfWord(std::string_view text, std::size_t at) {
  bool quoted = false;
  for (; at < text.size() && (quoted || blanks.find(text[at]) == std::string_view::npos); ++at) {
    if (text[at] == '"') quoted = !quoted;
  }
  return at;
}

/// The value without the words that begin so, and without the blanks in front of them.
std::string without(std::string value, std::string_view wordStart) {
  for (std::size_t at = 0; (at = value.find(wordStart, at)) != std::string::npos;) {
    const std::size_t end = endOfWord(value, at);
    while (at > 0 && blanks.find(value[at - 1]) != std::string_view::npos) --at;
    value.erase(at, end - at);
  }
  return value;
}

/// The value as the file spells it, with the options at its end.
std::string withOptions(std::string_view value, std::string_view archiveName) {
  std::string changed = without(without(std::string(value), archiveOption), quietOption);
  changed.erase(changed.find_last_not_of(blanks) + 1);
  changed.erase(0, changed.find_first_not_of(blanks));
  // One blank: a second one would make the next option a value of this one.
  return changed + (changed.empty() ? "" : " ") + optionsFor(archiveName);
}

std::optional<PropertiesEntry> lastEntry(std::string_view text, const char* key) {
  std::optional<PropertiesEntry> last;
  PropertiesScanner scanner(text);
  for (PropertiesEntry entry; scanner.next(entry);) {
    if (entry.key == key) last = entry;
  }
  return last;
}

/// Where a new entry can stand without joining or ending another line: at the end, or in front of a
/// last line that has no line end, since with one it would mean something else.
std::size_t placeForLine(std::string_view text) {
  std::size_t at = text.size();
  while (at > 0 && text[at - 1] != '\n') --at;
  while (at > 1 && text[at - 2] == '\\') at = text.rfind('\n', at - 2) + 1;
  return at;
}

}  // namespace

ClassDataEntry withClassDataArchive(std::string_view text, std::string_view archiveName,
                                    const std::optional<std::string>& inherited) {
  const std::string key = concat({keys::extendedProperties, "="});
  ClassDataEntry result;
  result.text = text;
  const std::optional<PropertiesEntry> entry = lastEntry(text, keys::extendedProperties);
  if (!entry) {
    result.line = key + withOptions(inherited.value_or(""), archiveName);
    result.text.insert(placeForLine(text), result.line + "\n");
    return result;
  }
  std::string_view value = text.substr(entry->valueAt, entry->endAt - entry->valueAt);
  // The separator that ended the key may be a blank with another one after it.
  value.remove_prefix(std::min(value.find_first_not_of(" \t="), value.size()));
  result.line = key + withOptions(value, archiveName);
  result.text.replace(entry->keyAt, entry->endAt - entry->keyAt, result.line);
  return result;
}
