#include "platform/ArchiveListing.h"

#include <algorithm>
#include <cstdio>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

class ArchiveListing : public testing::Test {
 protected:
  ArchiveListing() {
    for (const char* file :
         {"lib.jar", "n.txt", "a.jar.old", "b.zipper", "LIB.JAR", "sub/x.zip", "sub/in/y.jar"}) {
      sandbox_.write(file, "");
    }
    fs::create_symlink("lib.jar", sandbox_.path("link.jar"));
    fs::create_symlink("..", sandbox_.path("sub/up"));
    fs::create_directory(sandbox_.path("dir.jar"));
  }

  /// The archives below a directory of the sandbox, relative to it and sorted.
  [[nodiscard]] Texts archives(const std::string& directory, std::size_t maxCount,
                               int maxDepth) const {
    const std::string root = sandbox_.path(directory);
    Texts found;
    for (const WString& path : listArchives(root.c_str(), maxCount, maxDepth)) {
      found.emplace_back(path.c_str() + root.size() + 1);
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  Sandbox sandbox_;
};

TEST_F(ArchiveListing, GoesAsDeepAsAllowed) {
  EXPECT_EQ(archives("", 10, 1), (Texts{"a.jar.old", "b.zipper", "lib.jar"}));
  EXPECT_EQ(archives("", 10, 2), (Texts{"a.jar.old", "b.zipper", "lib.jar", "sub/x.zip"}));
  EXPECT_EQ(archives("none", 10, 9), Texts());
}

TEST_F(ArchiveListing, StopsWhenTheListIsFull) {
  EXPECT_EQ(archives("", 2, 9).size(), 2U);
  EXPECT_EQ(archives("", 5, 9).size(), 5U);
}

TEST_F(ArchiveListing, ReachesPathsLongerThanTheSystemTakes) {
  const std::string name(250, 'd');
  std::string path = "deep.jar";
  fs::current_path(sandbox_.path("dir.jar"));
  for (int level = 0; level < 20; ++level) {
    ASSERT_TRUE(::mkdir(name.c_str(), 0755) == 0 && ::chdir(name.c_str()) == 0);
    path.insert(0, name + "/");
  }
  std::fclose(std::fopen("deep.jar", "w"));
  EXPECT_EQ(archives("dir.jar", 10, 30), Texts{path});
}

TEST_F(ArchiveListing, ADirectoryThatCannotBeEnteredGivesNothing) {
  fs::permissions(sandbox_.path("sub"), fs::perms(0444));
  const uid_t user = ::geteuid();
  ASSERT_EQ(::seteuid(user == 0 ? 65534 : user), 0);
  const Texts found = archives("sub", 10, 2);
  ASSERT_EQ(::seteuid(user), 0);
  fs::permissions(sandbox_.path("sub"), fs::perms::all);
  EXPECT_EQ(found, Texts());
}

TEST_F(ArchiveListing, DoesNotTakeADeviceThatIsMountedOverAnArchive) {
  const auto covered = [this] {
    const std::string file = sandbox_.path("sub/x.zip");
    if (::mount("/dev/null", file.c_str(), nullptr, MS_BIND, nullptr) != 0) {
      std::printf("not mounted\n");
    }
    for (const std::string& archive : archives("sub", 10, 2)) std::printf("%s\n", archive.c_str());
  };
  const Outcome outcome = sandbox_.call(covered);
  if (outcome.has("not mounted")) GTEST_SKIP() << "nothing can be mounted here";
  EXPECT_EQ(outcome, (Outcome{0, "in/y.jar\n"}));
}

}  // namespace
