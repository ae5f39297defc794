#include "hosting/ModifiedUtf8.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

/// The text in JNI's form, with "?" for each replacement character.
std::string modified(std::string_view utf8) {
  std::string text(toModifiedUtf8(utf8).view());
  for (std::size_t at = 0; (at = text.find("\xEF\xBF\xBD")) != std::string::npos;) {
    text.replace(at, 3, "?");
  }
  return text;
}

TEST(ModifiedUtf8, LeavesCharactersOfUpToThreeBytes) {
  EXPECT_EQ(modified("plain \x7F"), "plain \x7F");
  EXPECT_EQ(modified("\xC2\x80 \xDF\xBF"), "\xC2\x80 \xDF\xBF");
  EXPECT_EQ(modified("\xE0\xA0\x80 \xE2\x82\xAC \xEF\xBF\xBF"),
            "\xE0\xA0\x80 \xE2\x82\xAC \xEF\xBF\xBF");
  EXPECT_EQ(modified("\xED\x9F\xBF \xEE\x80\x80"), "\xED\x9F\xBF \xEE\x80\x80");
}

TEST(ModifiedUtf8, MakesSurrogatesOfFourBytes) {
  EXPECT_EQ(modified("\xF0\x90\x80\x80"), "\xED\xA0\x80\xED\xB0\x80");
  EXPECT_EQ(modified("\xF0\x9F\x98\x80!"), "\xED\xA0\xBD\xED\xB8\x80!");
  EXPECT_EQ(modified("\xF1\x80\x80\x80"), "\xED\xA3\x80\xED\xB0\x80");
  EXPECT_EQ(modified("\xF4\x8F\xBF\xBF"), "\xED\xAF\xBF\xED\xBF\xBF");
}

TEST(ModifiedUtf8, ReplacesBytesThatBeginNoCharacter) {
  EXPECT_EQ(modified("\x80 \xBF \xC0\x80 \xC1\xBF"), "? ? ?? ??");
  EXPECT_EQ(modified("\xF5\x80\x80\x80 \xFF"), "???? ?");
  EXPECT_EQ(modified("\xE0\x80\x80 \xF0\x8F\xBF\xBF \xF4\x90\x80\x80"), "??? ???? ????");
}

TEST(ModifiedUtf8, ReplacesASurrogateOnce) {
  EXPECT_EQ(modified("\xED\xA0\x80 \xED\xBF\xBF"), "? ?");
}

TEST(ModifiedUtf8, ReplacesABrokenSequenceOnce) {
  EXPECT_EQ(modified("\xE2\x82x"), "?x");
  EXPECT_EQ(modified("\xE2\x82\xC3\xA9"), "?\xC3\xA9");
  EXPECT_EQ(modified("\xF0\x9F\x98x \xC3"), "?x ?");
  EXPECT_EQ(modified("\xE2\x82"), "?");
  EXPECT_EQ(modified("\xED\xA0"), "?");
  EXPECT_EQ(modified("\xF0\x9F\x98"), "?");
}

}  // namespace
