#include "javarun/ExtendedOptions.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

// Any line meets a model of the rules: fuzz/extended_options.cpp.
TEST(ExtendedOptions, BeginWithADash) {
  EXPECT_EQ(splitExtendedOptions("junk -server -Xmx512m"), (Texts{"-server", "-Xmx512m"}));
}

TEST(ExtendedOptions, TakeTheWordThatFollowsAsTheirValue) {
  EXPECT_EQ(splitExtendedOptions("-a b c -d"), (Texts{"-a=b", "-d"}));
}

TEST(ExtendedOptions, KeepSpacesInQuotes) {
  EXPECT_EQ(splitExtendedOptions(R"(-Dn "a b" -Dm="x y")"), (Texts{"-Dn=a b", "-Dm=x y"}));
  EXPECT_EQ(splitExtendedOptions(R"(-Dn "unclosed b)"), (Texts{"-Dn=unclosed b"}));
}

TEST(ExtendedOptions, LoseWhatFollowsTheClosingQuote) {
  EXPECT_EQ(splitExtendedOptions(R"(-Da"b c"=d e -fgh)"), (Texts{"-Dab c", "-fgh"}));
}

}  // namespace
