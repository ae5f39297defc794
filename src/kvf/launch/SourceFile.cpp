#include "kvf/launch/SourceFile.h"

#include <algorithm>
#include <utility>

void SourceFile::setText(std::string content) {
  text = std::move(content);
  lineStarts = {0};
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;)
    lineStarts.push_back(++at);
}

std::size_t SourceFile::lineAt(std::size_t offset) const {
  const auto after = std::upper_bound(lineStarts.begin(), lineStarts.end(), offset);
  return static_cast<std::size_t>(after - lineStarts.begin());
}

Position SourceFile::stretch(int file, std::size_t start, std::size_t end) const {
  const std::size_t first = lineAt(start);
  const std::size_t last = lineAt(end);
  return {file, first, start - lineStarts[first - 1] + 1, last, end - lineStarts[last - 1] + 1};
}

std::string_view SourceFile::line(std::size_t number) const {
  if (number > lineStarts.size()) return {};
  const std::size_t start = lineStarts[number - 1];
  const std::size_t end = number < lineStarts.size() ? lineStarts[number] - 1 : text.size();
  std::string_view found = std::string_view(text).substr(start, end - start);
  if (found.ends_with('\r')) found.remove_suffix(1);
  return found;
}

Position SourceFile::lineStretch(int file, std::size_t number) const {
  if (number > lineStarts.size()) return {file, number};
  const std::string_view written = line(number);
  const std::size_t blanks = std::min(written.find_first_not_of(" \t"), written.size());
  return {file, number, blanks + 1, number, written.size() + 1};
}
