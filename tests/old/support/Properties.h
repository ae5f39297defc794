#ifndef VELOX_TESTS_SUPPORT_PROPERTIES_H
#define VELOX_TESTS_SUPPORT_PROPERTIES_H

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/Properties.h"

inline void PrintTo(const WString& text, std::ostream* out) {
  *out << '"' << text.c_str() << '"';
}

using Texts = std::vector<std::string>;

/// "a|b c||" for the list of "a", "b c" and "": every text is ended, so that nothing gets lost.
template <class Text>
std::string joined(const std::vector<Text>& list, char end = '|') {
  std::string text;
  for (const Text& piece : list) text.append(piece.c_str(), piece.length()) += end;
  return text;
}

/// The way back; the last text may do without its end unless it is empty.
inline Texts split(const std::string& text, char end = '|') {
  Texts pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, end);) pieces.push_back(piece);
  return pieces;
}

/// Those of the texts (see split) that the test accepts, joined.
template <class Test>
std::string accepted(const std::string& texts, const Test& test) {
  Texts list = split(texts);
  std::erase_if(list, [&](const std::string& text) { return !test(text); });
  return joined(list);
}

/// "key=value;key2=value2;" in sorted order.
inline std::string joined(const Properties& properties) {
  Texts entries;
  properties.forEach([&](const WString& key, const WString& value) {
    entries.emplace_back((key + "=" + value).c_str());
  });
  std::sort(entries.begin(), entries.end());
  return joined(entries, ';');
}

inline SimpleProperties propertiesOf(const std::string& text) {
  SimpleProperties properties;
  for (const std::string& entry : split(text, ';')) {
    const std::size_t end = entry.find('=');
    properties.set(entry.substr(0, end).c_str(), entry.substr(end + 1).c_str());
  }
  return properties;
}

/// What a program and a main function take: the texts' own characters and a null pointer.
inline std::vector<char*> pointersTo(Texts& texts) {
  std::vector<char*> pointers(texts.size() + 1);
  std::transform(texts.begin(), texts.end(), pointers.begin(), [](auto& t) { return t.data(); });
  return pointers;
}

#endif
