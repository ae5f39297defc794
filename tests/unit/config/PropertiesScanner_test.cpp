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

TEST(PropertiesScanner, TheFirstSeparatorEndsTheKey) {
  EXPECT_EQ(scan("key=value\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan("key value\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan("key: value\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan("key\t\tvalue\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan(" \t key=value\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan("key=a=b:c d\n"), (Entries{{"key", "a=b:c d"}}));
}

TEST(PropertiesScanner, OneEqualsSignInFrontOfAValueIsDropped) {
  EXPECT_EQ(scan("key =value\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan("key==value\n"), (Entries{{"key", "value"}}));
  EXPECT_EQ(scan("key===value\n"), (Entries{{"key", "=value"}}));
  EXPECT_EQ(scan("key = value\n"), (Entries{{"key", " value"}}));
  EXPECT_EQ(scan("key := value\n"), (Entries{{"key", ":= value"}}));
}

TEST(PropertiesScanner, BlanksAtTheEndOfAValueStay) {
  EXPECT_EQ(scan("key=value \t\n"), (Entries{{"key", "value \t"}}));
}

TEST(PropertiesScanner, EveryLineEndEndsAnEntry) {
  EXPECT_EQ(scan("a=1\r\nb=2\rc=3"), (Entries{{"a", "1"}, {"b", "2"}, {"c", "3"}}));
}

TEST(PropertiesScanner, LinesWithoutASeparatorAreNoEntries) {
  EXPECT_EQ(scan("key\n\n#\n  \nnext=1\n"), (Entries{{"next", "1"}}));
}

TEST(PropertiesScanner, ALineBeginsWithItsKeyWhateverThatIs) {
  EXPECT_EQ(scan("=v\n"), Entries());
  EXPECT_EQ(scan("=v=1\n"), (Entries{{"=v", "1"}}));
  EXPECT_EQ(scan("\\=x=2\n"), (Entries{{"=x", "2"}}));
}

TEST(PropertiesScanner, CommentsBeginALine) {
  EXPECT_EQ(scan("# a=1\n  !b=2\nc=3 # x\n"), (Entries{{"c", "3 # x"}}));
  EXPECT_EQ(scan("# goes on\\\na=1\nb=2\n"), (Entries{{"b", "2"}}));
}

TEST(PropertiesScanner, ABackslashContinuesTheLine) {
  EXPECT_EQ(scan("a=one\\\n  two\n"), (Entries{{"a", "one  two"}}));
  EXPECT_EQ(scan("a=\\\n  two\n"), (Entries{{"a", "two"}}));
  EXPECT_EQ(scan("ke\\\ny=1\n"), (Entries{{"key", "1"}}));
  EXPECT_EQ(scan("a=one\\\r\n  two=3\n"), (Entries{{"a", "one"}, {"two", "3"}}));
  EXPECT_EQ(scan("a=1\\"), (Entries{{"a", "1"}}));
}

TEST(PropertiesScanner, ABackslashEscapesACharacter) {
  EXPECT_EQ(scan("a=\\t\\r\\n\\\\\\=\\q\n"), (Entries{{"a", "\t\r\n\\=q"}}));
  EXPECT_EQ(scan("a\\ b\\=c\\:d=1\n"), (Entries{{"a b=c:d", "1"}}));
  EXPECT_EQ(scan("a \\=b\n"), (Entries{{"a", "b"}}));
}

TEST(PropertiesScanner, ANulEndsTheText) {
  EXPECT_EQ(scan({"a=1\0b\nc=2\n", 10}), (Entries{{"a", "1"}}));
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
