#include "support/Values.h"

#include <algorithm>

#include <gtest/gtest.h>

SimpleProperties props(const Entries& entries) {
  SimpleProperties set;
  for (const auto& [key, value] : entries) set.set(key.c_str(), value.c_str());
  return set;
}

Entries entriesOf(const Properties& properties) {
  Entries entries;
  properties.forEach([&](const WString& key, const WString& value) {
    entries.emplace_back(key.view(), value.view());
  });
  return entries;
}

std::vector<char*> pointersTo(Texts& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

bool operator==(const std::vector<WString>& list, const Texts& expected) {
  return std::equal(list.begin(), list.end(), expected.begin(), expected.end(),
                    [](const WString& a, const std::string& b) { return a.view() == b; });
}

bool operator==(const SimpleProperties& set, Entries expected) {
  Entries entries = entriesOf(set);
  std::sort(entries.begin(), entries.end());
  std::sort(expected.begin(), expected.end());
  return entries == expected;
}

void PrintTo(const WString& text, std::ostream* out) {
  *out << testing::PrintToString(std::string(text.view()));
}

void PrintTo(const SimpleProperties& set, std::ostream* out) {
  Entries entries = entriesOf(set);
  std::sort(entries.begin(), entries.end());
  *out << testing::PrintToString(entries);
}
