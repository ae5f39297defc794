#include "kvf/cds/ClassDataEntry.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "config/PropertiesScanner.h"
#include "foundation/PropertyKeys.h"
#include "kvf/text/PropertiesSpelling.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view blanks = " \t";

/// How the words begin that name an archive.
constexpr std::string_view archiveWords[] = {
    "-XX:SharedArchiveFile=", "-XX:AOTCache=", "-XX:AOTMode="};

/// True for a word about archives that is removed: what keeps the JVM quiet only as it is written
/// here, since the user's own log may go on after it.
bool isAboutArchive(std::string_view word) {
  const std::span<const ArchiveKind> kinds = archiveKinds();
  return word == "-Xshare:auto" ||
         std::any_of(std::begin(archiveWords), std::end(archiveWords),
                     [&](std::string_view start) { return word.starts_with(start); }) ||
         std::any_of(kinds.begin(), kinds.end(),
                     [&](const ArchiveKind& kind) { return word == kind.quietOption; });
}

std::string optionsFor(const ArchiveKind& kind, std::string_view archiveName) {
  // In quotes, as the folder's name may have a blank. Without the second option the JVM prints a
  // line on standard output once the archive no longer fits.
  return concat(
      {kind.useOption, "\"%kvf.file.dir%/", spelledPart(archiveName), "\" ", kind.quietOption});
}

/// Where the word that starts at the position ends; a quoted stretch belongs to it.
std::size_t endOfWord(std::string_view text, std::size_t at) {
  bool quoted = false;
  for (; at < text.size() && (quoted || blanks.find(text[at]) == std::string_view::npos); ++at) {
    if (text[at] == '"') quoted = !quoted;
  }
  return at;
}

/// Where the blanks and continued line ends at the position end.
std::size_t endOfGap(std::string_view text, std::size_t at) {
  for (;;) {
    const std::string_view rest = text.substr(at);
    if (rest.starts_with("\\\n") || rest.starts_with("\\\r")) {
      at += 2;
    } else if (!rest.empty() && blanks.find(rest[0]) != std::string_view::npos) {
      ++at;
    } else {
      return at;
    }
  }
}

/// Without those words, and the gap in front of each.
std::string withoutArchiveWords(std::string_view value) {
  std::string kept;
  for (std::size_t at = 0; at < value.size();) {
    const std::size_t start = endOfGap(value, at);
    const std::size_t end = endOfWord(value, start);
    if (!isAboutArchive(value.substr(start, end - start))) kept += value.substr(at, end - at);
    at = end;
  }
  kept.erase(kept.find_last_not_of(blanks) + 1);
  kept.erase(0, kept.find_first_not_of(blanks));
  return kept;
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
