#include "hosting/ServiceWrapper.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(NativeArguments, AreThoseOfMain) {
  const SimpleProperties properties = props(
      {{"commandline.argv.0", "prog"}, {"commandline.argv.1", "a b"}, {"application.args", "f"}});
  const NativeArguments arguments(properties);
  EXPECT_EQ(Texts(arguments.vector(), arguments.vector() + arguments.count()),
            (Texts{"prog", "a b", "f"}));
  EXPECT_EQ(arguments.vector()[3], nullptr);
}

TEST(NativeArguments, AreNullOnlyWithoutAnySource) {
  EXPECT_EQ(NativeArguments(SimpleProperties()).vector(), nullptr);
  const NativeArguments empty(props({{"application.args", ""}}));
  ASSERT_NE(empty.vector(), nullptr);
  EXPECT_EQ(empty.count(), 0);
  EXPECT_EQ(empty.vector()[0], nullptr);
}

TEST(ArgumentCopy, EndsAfterItsLength) {
  char* copy = NewArgCopy("abc", 2);
  EXPECT_STREQ(copy, "ab");
  delete[] copy;
}

}  // namespace
