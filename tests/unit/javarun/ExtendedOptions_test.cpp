#include "javarun/ExtendedOptions.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(ExtendedOptions, BeginWithADash) {
  EXPECT_EQ(splitExtendedOptions("-Xmx512m -verbose"), (Texts{"-Xmx512m", "-verbose"}));
  EXPECT_EQ(splitExtendedOptions("junk -srv"), (Texts{"-srv"}));
  EXPECT_EQ(splitExtendedOptions("abc-def"), (Texts{"-def"}));
  EXPECT_EQ(splitExtendedOptions("-ab "), (Texts{"-ab"}));
  EXPECT_EQ(splitExtendedOptions(""), Texts());
}

TEST(ExtendedOptions, TakeTheWordThatFollowsAsTheirValue) {
  EXPECT_EQ(splitExtendedOptions("-Df bar"), (Texts{"-Df=bar"}));
  EXPECT_EQ(splitExtendedOptions("-a  -b"), (Texts{"-a=", "-b"}));
  EXPECT_EQ(splitExtendedOptions("-a b c -d"), (Texts{"-a=b", "-d"}));
  EXPECT_EQ(splitExtendedOptions("-a\t-b c"), (Texts{"-a\t-b=c"}));
}

TEST(ExtendedOptions, KeepSpacesInQuotes) {
  EXPECT_EQ(splitExtendedOptions(R"(-Xmx5 -Dn "a b" -srv)"), (Texts{"-Xmx5", "-Dn=a b", "-srv"}));
  EXPECT_EQ(splitExtendedOptions(R"(-Da="x y" -Db=1)"), (Texts{"-Da=x y", "-Db=1"}));
  EXPECT_EQ(splitExtendedOptions(R"(-a "b c" -d "e f" g)"), (Texts{"-a=b c", "-d=e f"}));
  EXPECT_EQ(splitExtendedOptions(R"(-Da=" x -Db y "-c)"), (Texts{"-Da= x -Db y "}));
}

TEST(ExtendedOptions, LoseWhatFollowsTheClosingQuote) {
  EXPECT_EQ(splitExtendedOptions(R"(-a="x"y)"), (Texts{"-a=x"}));
  EXPECT_EQ(splitExtendedOptions(R"(-Dn=""x)"), (Texts{"-Dn="}));
  EXPECT_EQ(splitExtendedOptions(R"(-Da"b c"=d e -fgh)"), (Texts{"-Dab c", "-fgh"}));
}

TEST(ExtendedOptions, LoseALoneQuote) {
  EXPECT_EQ(splitExtendedOptions(R"(-Dn "unclosed b)"), (Texts{"-Dn=unclosed b"}));
  EXPECT_EQ(splitExtendedOptions(R"(-Da="unclosed b)"), (Texts{"-Da=unclosed=b"}));
}

}  // namespace
