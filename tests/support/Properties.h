#ifndef VELOX_TESTS_SUPPORT_PROPERTIES_H
#define VELOX_TESTS_SUPPORT_PROPERTIES_H

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "foundation/Properties.h"

inline void PrintTo(const WString& text, std::ostream* out) {
  *out << '"' << text.c_str() << '"';
}

using Texts = std::vector<std::string>;
using Pairs = std::map<std::string, std::string>;

inline SimpleProperties propertiesOf(const Pairs& pairs) {
  SimpleProperties properties;
  for (const auto& [key, value] : pairs) properties.set(key.c_str(), value.c_str());
  return properties;
}

inline Pairs pairsOf(const Properties& properties) {
  Pairs pairs;
  properties.forEach(
      [&](const WString& key, const WString& value) { pairs[key.c_str()] = value.c_str(); });
  return pairs;
}

inline Texts textsOf(const std::vector<WString>& list) {
  Texts texts;
  for (const WString& text : list) texts.emplace_back(text.c_str());
  return texts;
}

#endif
