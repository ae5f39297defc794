#include "foundation/Properties.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(Properties, TheLastSetOfAKeyWins) {
  const SimpleProperties properties = props({{"a", "1"}, {"A", "3"}, {"empty", ""}, {"a", "2"}});
  EXPECT_EQ(properties, (Entries{{"A", "3"}, {"a", "2"}, {"empty", ""}}));
  EXPECT_EQ(properties.size(), 3);
}

TEST(Properties, OnlyAnAbsentKeyLeavesTheValue) {
  const SimpleProperties properties = props({{"empty", ""}});
  EXPECT_EQ(properties.valueOf("b", "before"), "before");
  EXPECT_EQ(properties.valueOf("empty", "before"), "");
  EXPECT_TRUE(properties.contains("empty"));
  EXPECT_FALSE(properties.contains("b"));
}

// One-letter keys hash to their code: "8" and "a" are 41 apart and share a bucket.
TEST(Properties, ACopyReversesTheKeysOfABucket) {
  const SimpleProperties properties = props({{"a", "1"}, {"8", "2"}, {"b", "3"}});
  const Entries reversed = {{"a", "1"}, {"8", "2"}, {"b", "3"}};
  EXPECT_EQ(entriesOf(SimpleProperties(properties)), reversed);
  SimpleProperties assigned = props({{"gone", ""}});
  assigned = properties;
  EXPECT_EQ(entriesOf(assigned), reversed);
}

}  // namespace
