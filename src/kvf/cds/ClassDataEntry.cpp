#include "kvf/cds/ClassDataEntry.h"

#include <algorithm>

#include "config/PropertiesScanner.h"
#include "foundation/PropertyKeys.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view blanks = " \t";

/// How the words begin that are removed: those about archives, and those that keep the JVM quiet.
constexpr std::string_view archiveWords[] = {"-XX:SharedArchiveFile=", "-XX:AOTCache=",
                                             "-XX:AOTMode=",           "-Xshare:auto",
                                             "-Xlog:cds*=off",         "-Xlog:aot*=off"};

std::string optionsFor(const ArchiveKind& kind, std::string_view archiveName) {
  // In quotes, as the folder's name may have a blank. Without the second option the JVM prints a
  // line on standard output once the archive no longer fits.
  return concat({kind.useOption, "\"%kvf.file.dir%/", spelledInPropertiesFile(archiveName), "\" ",
                 kind.quietOption});
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

std::string withoutArchiveWords(std::string_view value) {
  std::string changed(value);
  for (const std::string_view start : archiveWords) changed = without(changed, start);
  changed.erase(changed.find_last_not_of(blanks) + 1);
  changed.erase(0, changed.find_first_not_of(blanks));
  return changed;
}

/// The value as the file spells it, with the words at its end. One blank: a second one would make
/// the next option a value of this one.
std::string withWords(const std::string& value, const std::string& words) {
  return value + (value.empty() ? "" : " ") + words;
}

bool hasWord(std::string_view value, std::string_view word) {
  for (std::size_t at = 0; (at = value.find(word, at)) != std::string_view::npos; ++at) {
    const std::size_t end = at + word.size();
    const bool starts = at == 0 || blanks.find(value[at - 1]) != std::string_view::npos;
    if (starts && (end == value.size() || blanks.find(value[end]) != std::string_view::npos))
      return true;
  }
  return false;
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

/// The value of the entry, without the separator in front of it.
std::string_view valueIn(std::string_view text, const PropertiesEntry& entry) {
  std::string_view value = text.substr(entry.valueAt, entry.endAt - entry.valueAt);
  // The separator that ended the key may be a blank with another one after it.
  value.remove_prefix(std::min(value.find_first_not_of(" \t="), value.size()));
  return value;
}

/// The line instead of the entry, or at the end.
std::string withLine(std::string_view text, const std::optional<PropertiesEntry>& entry,
                     const std::string& line) {
  std::string changed(text);
  if (!entry) return changed.insert(placeForLine(text), line + "\n");
  return changed.replace(entry->keyAt, entry->endAt - entry->keyAt, line);
}

}  // namespace

ClassDataEntry withClassDataArchive(std::string_view text, const ArchiveKind& kind,
                                    std::string_view archiveName,
                                    const std::vector<std::string>& further,
                                    const std::optional<std::string>& inherited) {
  const std::optional<PropertiesEntry> entry = lastEntry(text, keys::extendedProperties);
  std::string value = withoutArchiveWords(entry ? valueIn(text, *entry)
                                                : std::string_view(inherited ? *inherited : ""));
  for (const std::string& option : further) {
    if (!hasWord(value, option)) value = withWords(value, option);
  }
  ClassDataEntry result;
  result.line =
      concat({keys::extendedProperties, "=", withWords(value, optionsFor(kind, archiveName))});
  result.text = withLine(text, entry, result.line);
  return result;
}

std::string withoutClassDataArchive(std::string_view text) {
  const std::optional<PropertiesEntry> entry = lastEntry(text, keys::extendedProperties);
  if (!entry) return std::string(text);
  return withLine(
      text, entry,
      concat({keys::extendedProperties, "=", withoutArchiveWords(valueIn(text, *entry))}));
}

std::string withEntry(std::string_view text, const char* key, std::string_view value) {
  return withLine(text, lastEntry(text, key), concat({key, "=", value}));
}
