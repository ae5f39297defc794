#include <tuple>

#include <gtest/gtest.h>

#include "foundation/Properties.h"
#include "foundation/WException.h"
#include "foundation/WMutex.h"
#include "foundation/WString.h"
#include "support/Properties.h"

namespace {

using Numbers = std::vector<unsigned int>;
constexpr unsigned int npos = WString::npos;

TEST(WString, CapacityFollowsTheTwoRules) {
  const std::string text63(63, 'x');
  const WString text64 = (text63 + 'x').c_str();
  EXPECT_EQ((Numbers{WString().capacity(), WString(10U).capacity(), WString(0U).capacity(),
                     WString(121U).capacity(), WString(text63.c_str()).capacity(),
                     text64.capacity(), WString(text64).capacity()}),
            (Numbers{64, 10, 64, 64, 64, 128, 128}));
  WString grown = text63.c_str();
  EXPECT_EQ((grown += 'y').capacity(), 64U);
  EXPECT_EQ((grown += 'z').capacity(), 130U);
  EXPECT_EQ(grown.view(), text63 + "yz");
  EXPECT_EQ((grown += std::string(300, 'w').c_str()).capacity(), 365U);
  EXPECT_EQ((grown = 'c').capacity(), 365U);
  EXPECT_TRUE(grown.isEqual('c'));
}

TEST(WString, CopiesMovesAndTakesItsOwnText) {
  for (const std::string& text : {std::string(), std::string("short"), std::string(99, 'x')}) {
    WString source = text.c_str();
    const WString copy = source;
    WString moved = std::move(source);
    EXPECT_EQ(copy.view(), text);
    EXPECT_EQ(moved.view(), text);
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
  const WString s = "a/b/c";
  const WString b = "b/c";
  EXPECT_EQ((Numbers{s.find('/'), s.find('/', 2), s.find('/', 5), s.find(WString("x")),
                     s.find_cstr("b/"), s.find_cstr("", 5), s.find_cstr("", 6)}),
            (Numbers{1, 3, npos, npos, 2, 5, npos}));
  EXPECT_EQ((Numbers{s.find_last_of('/'), s.find_last_of('/', 2), s.find_last_of('a'),
                     WString().find_last_of('/')}),
            (Numbers{3, 1, 0, npos}));
  EXPECT_EQ((Numbers{s.find_last_of(WString("/")), s.find_last_of(b, 2), s.find_last_of(b, 1),
                     s.find_last_of(WString()), s.find_last_of(s + "/")}),
            (Numbers{3, 2, npos, npos, npos}));
  EXPECT_EQ((Numbers{s.find_first_not_of('a', npos), WString("  ").find_first_not_of(' '),
                     s.find_last_not_of('c')}),
            (Numbers{1, npos, 3}));
}

TEST(WString, Edits) {
  const WString s = "abcdef";
  EXPECT_EQ(joined<WString>({WString(s).replace(2, npos, "x"), WString(s).replace(npos, 1, "x"),
                             WString(s).replace(7, 1, "x"), WString(s).replace(6, 1, "x"),
                             WString(s).replace(1, 2, "12345"), WString(s).erase(1, 4),
                             WString(s).insert(3, "-"), WString(s).insert(3, nullptr),
                             s.substr(4, 9), s.substr(6), s.substr(2, 0)}),
            "abx|abcdef|abcdef|abcdefx|a12345def|af|abc-def|abcdef|ef|||");
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
  EXPECT_EQ((Numbers{map.getHashIndex(WString()), map.getHashIndex(WString("ab")),
                     map.getHashIndex(WString("wrapper.command")),
                     map.getHashIndex(WString("\xFF")), map.getHashIndex(0x1C00003E8L)}),
            (Numbers{0, 1650, 0x2368D84, 0x0FFFFF0F, 0xC00003E8}));
}

TEST(Properties, LastSetWinsAndMissingKeysLeaveTheValue) {
  const SimpleProperties properties = propertiesOf("a=1;A=3;empty=;a=2");
  EXPECT_EQ(joined(properties), "A=3;a=2;empty=;");
  EXPECT_EQ(properties.size(), 3);
  EXPECT_EQ(properties.valueOf("b", "before"), "before");
  EXPECT_EQ(properties.valueOf("empty", "before"), "");
}

TEST(Properties, EnumeratesBucketsInOrderAndNewestFirst) {
  const auto order = [](const SimpleProperties& set) {
    std::string keys;
    set.forEach([&](const WString& key, const WString&) { keys += key.c_str(); });
    return keys;
  };
  // One-letter keys hash to their code: these share bucket 15 with "a" (97), 41 apart.
  const SimpleProperties properties = propertiesOf("a=;8=;b=;a=again");
  EXPECT_EQ(order(properties), "8ab");
  EXPECT_EQ(order(SimpleProperties(properties)), "a8b");
}

TEST(Locks, OneKindNeverBlocksAndTheGuardUnlocks) {
  WMutex none(0);
  WMutex real(1);
  { const ScopedLockGuard guard(real); }
  EXPECT_EQ((Numbers{none.Lock(), none.Lock(), real.Lock(), real.Unlock()}), (Numbers{1, 1, 1, 1}));
}

}  // namespace
