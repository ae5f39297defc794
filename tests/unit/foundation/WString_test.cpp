#include "foundation/WString.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

// Positions, searches and edits meet a model of them: fuzz/wstring.cpp.
TEST(WString, CapacityStartsAsAskedForOrWithRoomToSpare) {
  EXPECT_EQ(WString(10U).capacity(), 10U);
  EXPECT_EQ(WString(64U).capacity(), 64U);
  EXPECT_EQ(WString(0U).capacity(), 64U);
  EXPECT_EQ(WString(121U).capacity(), 64U);
  EXPECT_EQ(WString(std::string(63, 'x').c_str()).capacity(), 64U);
  EXPECT_EQ(WString(std::string(64, 'x').c_str()).capacity(), 128U);
}

TEST(WString, CapacityDoublesOrFitsTheText) {
  WString grown = std::string(63, 'x').c_str();
  EXPECT_EQ((grown += 'y').capacity(), 64U);
  EXPECT_EQ((grown += 'z').capacity(), 130U);
  EXPECT_EQ(grown.view(), std::string(63, 'x') + "yz");
  EXPECT_EQ((grown += std::string(300, 'w').c_str()).capacity(), 365U);
  EXPECT_EQ((grown = 'c').capacity(), 365U);
  EXPECT_EQ(grown, "c");
}

TEST(WString, CopiesAndMovesTextsOfAnyLength) {
  for (const std::string& text : {std::string(), std::string("short"), std::string(99, 'x')}) {
    WString source = text.c_str();
    const WString copy = source;
    const WString moved = std::move(source);
    EXPECT_EQ(copy.view(), text);
    EXPECT_EQ(moved.view(), text);
    EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move): what a move leaves is defined
  }
  EXPECT_EQ(WString(static_cast<const char*>(nullptr)), "");
}

TEST(WString, Joins) {
  EXPECT_EQ("a" + WString("b") + 'c' + "d" + WString("e"), "abcde");
  EXPECT_EQ(WString("a") + static_cast<const char*>(nullptr), "a");
}

TEST(WString, ComparesToTheByte) {
  EXPECT_NE(WString("ABC"), "abc");
  EXPECT_NE(WString("ab"), "abc");
  EXPECT_TRUE(WString("a").isEqual('a'));
  EXPECT_FALSE(WString("ab").isEqual('a'));
  EXPECT_TRUE(WString().isEqual(static_cast<const char*>(nullptr)));
  EXPECT_FALSE(WString("a").isEqual(static_cast<const char*>(nullptr)));
}

TEST(WString, AnOffsetBeyondTheEndThrows) {
  try {
    const WString beyond("abc", 4, 1);
    FAIL();
  } catch (const WException& exception) {
    EXPECT_EQ(exception.toWString(),
              "Code = VELOXUTIL_ERROR_STRING, Category = WString, Severity = Cannot initialize "
              "string, offset is beyond end of source string, Description = , File = Unknown file, "
              "line = 0");
  }
}

TEST(WString, ConvertsIntegers) {
  struct Row {
    const char* text;
    bool converted;
    int value;
  };
  const Row rows[] = {
      {"  -42", true, -42}, {"+", true, 0},          {"", true, 0},
      {"   ", true, 0},     {"12 ", false, 12},      {"-12x", false, 12},
      {"\t7", false, 0},    {"4294967297", true, 1}, {"-2147483648", true, -2147483647 - 1},
      {"1/", false, 1},     {"+90", true, 90},       {"1:", false, 1},
  };
  for (const Row& row : rows) {
    int value = 99;
    EXPECT_EQ(WString::StringToInteger(row.text, value), row.converted) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
}

}  // namespace
