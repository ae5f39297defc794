#include "hosting/ModifiedUtf8.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

// The bounds of every length of sequence meet a model of them: fuzz/modified_utf8.cpp.
TEST(ModifiedUtf8, MakesSurrogatesOfFourBytesOnly) {
  EXPECT_EQ(toModifiedUtf8("plain \xC3\x84 \xE2\x82\xAC"), "plain \xC3\x84 \xE2\x82\xAC");
  EXPECT_EQ(toModifiedUtf8("\xF0\x9F\x98\x80!"), "\xED\xA0\xBD\xED\xB8\x80!");
}

TEST(ModifiedUtf8, ReplacesWhatIsNoCharacter) {
  EXPECT_EQ(toModifiedUtf8("\xFFx"), "\xEF\xBF\xBDx");
  EXPECT_EQ(toModifiedUtf8("\xE2\x82x"), "\xEF\xBF\xBDx");
  EXPECT_EQ(toModifiedUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD");
}

}  // namespace
