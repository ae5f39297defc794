#include <tuple>

#include <gtest/gtest.h>

#include "foundation/Properties.h"
#include "foundation/WException.h"
#include "foundation/WMutex.h"
#include "foundation/WString.h"
#include "support/Properties.h"

namespace {

constexpr unsigned int npos = WString::npos;

TEST(WString, CapacityFollowsTheTwoRules) {
  const std::string text63(63, 'x');
  const std::string text64(64, 'x');
  EXPECT_EQ(WString().capacity(), 64U);
  EXPECT_EQ(WString(10U).capacity(), 10U);
  EXPECT_EQ(WString(0U).capacity(), 64U);
  EXPECT_EQ(WString(121U).capacity(), 64U);
  EXPECT_EQ(WString(text63.c_str()).capacity(), 64U);
  EXPECT_EQ(WString(text64.c_str()).capacity(), 128U);
  EXPECT_EQ(WString(WString(text64.c_str())).capacity(), 128U);

  WString grown = text63.c_str();
  grown += 'y';
  EXPECT_EQ(grown.capacity(), 64U);
  grown += 'z';
  EXPECT_EQ(grown.capacity(), 130U);
  EXPECT_EQ(grown.view(), text63 + "yz");
  grown += std::string(300, 'w').c_str();
  EXPECT_EQ(grown.capacity(), 365U);
  grown = 'c';
  EXPECT_EQ(grown.capacity(), 365U);
  EXPECT_TRUE(grown.isEqual('c'));
}

TEST(WString, CopiesMovesAndTakesItsOwnText) {
  for (const char* text : {"", "short",
                           "a text that is too long for the buffer inside the string, "
                           "so that it lives on the heap"}) {
    WString source = text;
    const WString copy = source;
    WString moved = std::move(source);
    EXPECT_EQ(copy, text);
    EXPECT_EQ(moved, text);
    EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move): what a move leaves is defined
    moved += moved;
    moved += moved.c_str();
    moved.replace(0, 0, moved.c_str());
    EXPECT_EQ(moved.length(), 8 * copy.length());
    moved = moved.c_str() + moved.length() - copy.length();
    EXPECT_EQ(moved, copy);
  }
  EXPECT_EQ(WString(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ("a" + WString("b") + 'c' + "d" + WString("e"), "abcde");
  EXPECT_NE(WString("ABC"), "abc");
  EXPECT_FALSE(WString("a").isEqual(static_cast<const char*>(nullptr)));
}

TEST(WString, Searches) {
  const WString text = "a/b/c";
  const std::tuple<unsigned int, unsigned int> cases[] = {
      {text.find('/'), 1},
      {text.find('/', 2), 3},
      {text.find('/', 5), npos},
      {text.find_cstr("b/"), 2},
      {text.find_cstr("", 5), 5},
      {text.find_cstr("", 6), npos},
      {text.find(WString("x")), npos},
      {text.find_last_of('/'), 3},
      {text.find_last_of('/', 2), 1},
      {text.find_last_of('a'), 0},
      {WString().find_last_of('/'), npos},
      {text.find_last_of(WString("/")), 3},
      {text.find_last_of(WString("b/c"), 2), 2},
      {text.find_last_of(WString("b/c"), 1), npos},
      {text.find_last_of(WString()), npos},
      {text.find_last_of(WString("a/b/c/")), npos},
      {text.find_first_not_of('a', npos), 1},
      {WString("  ").find_first_not_of(' '), npos},
      {text.find_last_not_of('c'), 3},
  };
  int row = 0;
  for (const auto& [found, expected] : cases) EXPECT_EQ(found, expected) << "row " << row++;
}

TEST(WString, Edits) {
  const WString text = "abcdef";
  const auto edited = [&](auto edit) {
    WString copy = text;
    edit(copy);
    return copy;
  };
  EXPECT_EQ(edited([](WString& s) { s.replace(2, npos, "x"); }), "abx");
  EXPECT_EQ(edited([](WString& s) { s.replace(npos, 1, "x"); }), text);
  EXPECT_EQ(edited([](WString& s) { s.replace(7, 1, "x"); }), text);
  EXPECT_EQ(edited([](WString& s) { s.replace(6, 1, "x"); }), "abcdefx");
  EXPECT_EQ(edited([](WString& s) { s.replace(1, 2, "12345"); }), "a12345def");
  EXPECT_EQ(edited([](WString& s) { s.erase(1, 4); }), "af");
  EXPECT_EQ(edited([](WString& s) { s.insert(3, "-"); }), "abc-def");
  EXPECT_EQ(edited([](WString& s) { s.insert(3, nullptr); }), text);
  EXPECT_EQ(text.substr(4, 9), "ef");
  EXPECT_EQ(text.substr(6), "");
  EXPECT_EQ(text.substr(2, 0), "");
}

TEST(WString, AnOffsetBeyondTheEndThrows) {
  EXPECT_EQ(WString("abc", 3, 1), "");
  EXPECT_EQ(WString(WString("abc"), 1, npos), "bc");
  try {
    const WString beyond("abc", 4, 1);
    FAIL();
  } catch (const WException& exception) {
    EXPECT_EQ(exception.toWString(),
              "Code = VELOXUTIL_ERROR_STRING, Category = WString, Severity = Cannot initialize "
              "string, offset is beyond end of source string, Description = , File = Unknown file, "
              "line = 0");
  }
  const WException& memory = WException::getDefaultMemoryException();
  EXPECT_TRUE(memory == WException("SDKC-OUT_OF_MEMORY", "ERROR", "System", "other", "f.cpp", 7));
  EXPECT_FALSE(memory == WException("SDKC-OUT_OF_MEMORY", "ERROR", "", ""));
  EXPECT_TRUE(WException().isNull());
}

TEST(WString, ConvertsIntegers) {
  const std::tuple<const char*, bool, int> cases[] = {
      {"  -42", true, -42}, {"+", true, 0},    {"", true, 0},
      {"   ", true, 0},     {"+7", true, 7},   {"12 ", false, 12},
      {"-12x", false, 12},  {"\t7", false, 0}, {"4294967297", true, 1},
      {"1.5", false, 1},    {"--1", false, 0}, {"-2147483648", true, -2147483647 - 1},
  };
  for (const auto& [text, converted, value] : cases) {
    int result = 99;
    EXPECT_EQ(WString::StringToInteger(text, result), converted) << text;
    EXPECT_EQ(result, value) << text;
  }
}

TEST(Properties, HashesLikeElf) {
  const JMap<WString, int> map(41);
  EXPECT_EQ(map.getHashIndex(WString()), 0U);
  EXPECT_EQ(map.getHashIndex(WString("ab")), 1650U);
  EXPECT_EQ(map.getHashIndex(WString("wrapper.command")), 0x2368D84U);
  EXPECT_EQ(map.getHashIndex(WString("\xFF")), 0x0FFFFF0FU);
  EXPECT_EQ(map.getHashIndex(0x1C00003E8L), 0xC00003E8U);
}

TEST(Properties, LastSetWinsAndMissingKeysLeaveTheValue) {
  SimpleProperties properties = propertiesOf({{"a", "1"}, {"A", "3"}, {"empty", ""}});
  properties.set("a", "2");
  EXPECT_EQ(pairsOf(properties), (Pairs{{"A", "3"}, {"a", "2"}, {"empty", ""}}));
  EXPECT_EQ(properties.size(), 3);
  WString value = "before";
  EXPECT_FALSE(properties.get("b", value));
  EXPECT_EQ(value, "before");
  EXPECT_TRUE(properties.get("empty", value));
  EXPECT_EQ(value, "");
}

TEST(Properties, EnumeratesBucketsInOrderAndNewestFirst) {
  // One-letter keys hash to their code: these share bucket 15 with "a" (97), 41 apart.
  SimpleProperties properties;
  for (const char* key : {"a", "8", "b"}) properties.set(key, "");
  const auto order = [](const SimpleProperties& set) {
    std::string keys;
    set.forEach([&](const WString& key, const WString&) { keys += key.c_str(); });
    return keys;
  };
  EXPECT_EQ(order(properties), "8ab");
  properties.set("a", "again");
  EXPECT_EQ(order(properties), "8ab");
  EXPECT_EQ(order(SimpleProperties(properties)), "a8b");
  EXPECT_EQ(order(SimpleProperties()), "");
}

TEST(Locks, OneKindNeverBlocksAndTheGuardUnlocks) {
  WMutex none(0);
  EXPECT_EQ(none.Lock(), 1U);
  EXPECT_EQ(none.Lock(), 1U);
  WMutex real(1);
  { const ScopedLockGuard guard(real); }
  EXPECT_EQ(real.Lock(), 1U);
  EXPECT_EQ(real.Unlock(), 1U);
}

}  // namespace
