#include "kvf/rules/ValueSigns.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"
#include "javarun/ClassPath.h"
#include "kvf/rules/Keys.h"
#include "kvf/text/Text.h"

namespace {

template <std::size_t size>
bool isOneOf(const std::string_view (&texts)[size], std::string_view text) {
  return std::find(std::begin(texts), std::end(texts), text) != std::end(texts);
}

/// Words are taken out of these, and other rules look at their quotes.
bool isSplit(std::string_view key) {
  return key == keys::applicationArgs || key == keys::extendedProperties;
}

/// This is where an argument goes that application.args cannot hold.
bool isWholeArgument(std::string_view key) {
  return key.starts_with(keys::commandLineArgumentPrefix);
}

/// A word of a query, as 'NULL', 'NOT_YET' or 'NOW()'.
bool isConstant(std::string_view text) {
  constexpr std::string_view others = "0123456789_()";
  const auto isCapital = [](unsigned char c) { return std::isupper(c) != 0; };
  return std::any_of(text.begin(), text.end(), isCapital) &&
         std::all_of(text.begin(), text.end(), [&](char c) {
           return isCapital(static_cast<unsigned char>(c)) || others.find(c) != others.npos;
         });
}

/// A value that is complete by itself: a number, a size, a path, yes or no.
bool isWhole(std::string_view word) {
  constexpr std::string_view words[] = {"true", "false", "yes", "no", "on", "off"};
  if (isOneOf(words, word) || word.starts_with('/') || word.starts_with('%')) return true;
  const std::size_t digits = word.find_first_not_of("0123456789.");
  return digits != 0 && word.size() - std::min(digits, word.size()) <= 2;
}

bool isMadeOf(std::string_view text, std::string_view others) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           others.find(c) != std::string_view::npos;
  });
}

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

bool allExist(const Inspection& inspection, std::string_view list) {
  const std::vector<ClassPathEntry> entries = classPathEntries(list);
  return !entries.empty() &&
         std::all_of(entries.begin(), entries.end(), [&](const ClassPathEntry& entry) {
           const WString& place = entry.isSearched ? entry.directory : entry.path;
           return exists(inspection.atApplication(place.view()));
         });
}

}  // namespace

bool hasOddQuotes(std::string_view key, std::string_view value) {
  if (findKey(key) == nullptr || isSplit(key) || isWholeArgument(key)) return false;
  if (value.size() < 2 || value.front() != value.back()) return false;
  const char quote = value.front();
  const std::string_view inner = value.substr(1, value.size() - 2);
  if (quote == '"') return inner != "'" && inner.find(quote) == std::string_view::npos;
  return quote == '\'' && inner != "\"" && inner.find(quote) == std::string_view::npos &&
         !(takesAnyText(key) && isConstant(inner));
}

std::string_view oddCommentIn(std::string_view key, std::string_view value) {
  const std::size_t mark = value.find(" #");
  if (mark == std::string_view::npos || isSplit(key) || isWholeArgument(key)) return {};
  const std::string_view word = value.substr(0, value.find_last_not_of(" \t", mark) + 1);
  const bool isComment = value.size() == mark + 2 || value[mark + 2] == ' ';
  if (!isComment || word.find(' ') != std::string_view::npos || word.empty()) return {};
  return !takesAnyText(key) || isWhole(word) ? value.substr(word.size()) : std::string_view();
}

bool takesAnyText(std::string_view key) {
  const KeyInfo* info = findKey(key);
  return info == nullptr || info->rest != nullptr || isSplit(key);
}

bool suits(const Inspection& inspection, std::string_view key, std::string_view value) {
  constexpr std::string_view sizes[] = {keys::heapSizeMax, keys::heapSizeInitial, keys::heapSizeMin,
                                        keys::threadStackSize};
  constexpr std::string_view numbers[] = {keys::classPathSearchLevel, keys::classPathMaxLibNumber};
  if (value.empty()) return false;
  if (key.starts_with(keys::includePrefix)) return exists(inspection.atLauncher(value));
  if (takesAnyText(key)) return true;
  if (isOneOf(sizes, key)) return memorySize(value).has_value();
  if (isOneOf(numbers, key)) return value.find_first_not_of("0123456789") == std::string_view::npos;
  if (key == keys::processIdFile) {
    const std::filesystem::path file = inspection.atLauncher(value);
    return file.has_filename() && exists(file.parent_path());
  }
  switch (findKey(key)->names) {
    case KeyNames::file:
      return exists(inspection.atApplication(value));
    case KeyNames::fileAtLauncher:
      return exists(inspection.atLauncher(value));
    case KeyNames::files:
      return allExist(inspection, value);
    default:
      return isMadeOf(value, "._$/-,");
  }
}
