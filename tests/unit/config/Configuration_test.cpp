#include "config/Configuration.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

class GlobalFile : public testing::Test {
 protected:
  GlobalFile() {
    sandbox_.write("global.kvf", "a=global\nb=global\nc=%a%\nvelox.env.EXPORTED=1\n");
    std::filesystem::current_path(sandbox_.path());
  }

  Sandbox sandbox_;
  SimpleProperties fileSet_ = props({{"a", "main"}, {"b", ""}});
  Entries filled_ = {{"a", "main"},           {"b", "global"},
                     {"c", "global"},         {"kvf.file.dir", sandbox_.path()},
                     {"path.separator", ":"}, {"velox.env.EXPORTED", "1"}};
};

TEST_F(GlobalFile, FillsWhatIsAbsentOrEmpty) {
  HandleGlobalKVFFile(fileSet_, false);
  EXPECT_EQ(fileSet_, filled_);
  EXPECT_STREQ(std::getenv("EXPORTED"), "1");
}

TEST_F(GlobalFile, ExportsNothingInAnInnerProcess) {
  HandleGlobalKVFFile(fileSet_, true);
  EXPECT_EQ(fileSet_, filled_);
  EXPECT_EQ(std::getenv("EXPORTED"), nullptr);
}

TEST_F(GlobalFile, IsFoundAlongThePathAsWell) {
  std::filesystem::current_path("/");
  ::setenv("PATH", ("/usr/bin:" + sandbox_.path()).c_str(), 1);
  HandleGlobalKVFFile(fileSet_, false);
  EXPECT_EQ(fileSet_, filled_);
}

TEST(Configuration, TheCommandLineWins) {
  SimpleProperties fileSet = props({{"a", "file"}, {"b", "file"}});
  const SimpleProperties merged = MergeProperties(props({{"b", ""}, {"c", "line"}}), fileSet);
  EXPECT_EQ(merged, (Entries{{"a", "file"}, {"b", ""}, {"c", "line"}}));
}

}  // namespace
