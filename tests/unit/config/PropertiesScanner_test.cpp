#include "config/PropertiesScanner.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

Entries scan(std::string_view text) {
  PropertiesScanner scanner(text);
  Entries entries;
  for (PropertiesEntry entry; scanner.next(entry);) {
    entries.emplace_back(entry.key.view(), entry.value.view());
  }
  return entries;
}

// Any text meets a model of the rules: fuzz/properties.cpp.
TEST(PropertiesScanner, TheFirstSeparatorEndsTheKey) {
  EXPECT_EQ(scan(" \t key=a=b:c d \n"), (Entries{{"key", "a=b:c d "}}));
  EXPECT_EQ(scan("key\t\tvalue\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan("key: value\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan("=v=1\n"), (Entries{{"=v", "1"}}));
  EXPECT_EQ(scan("key\n\nnext=1\n"), (Entries{{"next", "1"}}));
}

TEST(PropertiesScanner, OneEqualsSignInFrontOfAValueIsDropped) {
  EXPECT_EQ(scan("key = value\n"), (Entries{{"key", " value"}}));
  EXPECT_EQ(scan("key===value\n"), (Entries{{"key", "=value"}}));
  EXPECT_EQ(scan("key := value\n"), (Entries{{"key", ":= value"}}));
}

TEST(PropertiesScanner, CommentsBeginALine) {
  EXPECT_EQ(scan("# a=1\n  !b=2\nc=3 # x\n"), (Entries{{"c", "3 # x"}}));
}

TEST(PropertiesScanner, ABackslashContinuesTheLine) {
  EXPECT_EQ(scan("a=one\\\n  two\n"), (Entries{{"a", "one  two"}}));
  EXPECT_EQ(scan("a=one\\\r\n  two=3\n"), (Entries{{"a", "one"}, {"two", "3"}}));
}

TEST(PropertiesScanner, ABackslashEscapesACharacter) {
  EXPECT_EQ(scan("a\\ b\\=c=\\t\\r\\n\\\\\\q\n"), (Entries{{"a b=c", "\t\r\n\\q"}}));
}

TEST(PropertiesScanner, TellsAnEntryThatTheEndOfTheTextEnds) {
  PropertiesScanner scanner("a=1\nb=2");
  PropertiesEntry entry;
  EXPECT_TRUE(scanner.next(entry));
  EXPECT_TRUE(entry.endedByLineEnd);
  EXPECT_TRUE(scanner.next(entry));
  EXPECT_FALSE(entry.endedByLineEnd);
  EXPECT_FALSE(scanner.next(entry));
}

}  // namespace
