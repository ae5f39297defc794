#include "platform/OS_Abstractions.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/WException.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

/// Goes down a chain of directories that is longer than any path the system takes in one piece.
std::string enterDeepDirectory(const std::string& root) {
  const std::string name(250, 'd');
  std::string path = root;
  fs::current_path(root);
  for (int level = 0; level < 20; ++level) {
    if (::mkdir(name.c_str(), 0755) != 0 || ::chdir(name.c_str()) != 0) ADD_FAILURE();
    path += "/" + name;
  }
  return path;
}

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
  [[nodiscard]] Texts archives(const std::string& directory, int maxCount, int maxDepth) const {
    const std::string root = sandbox_.path(directory);
    char** list = new char* [static_cast<std::size_t>(maxCount) + 1] {};
    const int count =
        sii_CreateClassPathDirectoryListRecursive(root.c_str(), list, 0, 1, maxCount, maxDepth);
    Texts found;
    for (int i = 0; i < count; ++i) found.emplace_back(list[i] + root.size() + 1);
    EXPECT_EQ(list[count], nullptr);
    std::sort(found.begin(), found.end());
    sii_DestroyDirectoryList(list, maxCount);
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
  const std::string deep = enterDeepDirectory(sandbox_.path("dir.jar"));
  std::fclose(std::fopen("deep.jar", "w"));
  const std::string found = deep.substr(sandbox_.path("dir.jar/").size()) + "/deep.jar";
  EXPECT_EQ(archives("dir.jar", 10, 30), (Texts{found}));
}

TEST_F(ArchiveListing, ADirectoryThatCannotBeEnteredGivesNothing) {
  fs::permissions(sandbox_.path("sub"), fs::perms(0444));
  const uid_t user = ::geteuid();
  ASSERT_EQ(::seteuid(user == 0 ? 65534 : user), 0);
  const Texts found = archives("sub", 10, 1);
  ASSERT_EQ(::seteuid(user), 0);
  fs::permissions(sandbox_.path("sub"), fs::perms::all);
  EXPECT_EQ(found, Texts());
}

TEST_F(ArchiveListing, NeedsAList) {
  char** list = nullptr;
  EXPECT_THROW(sii_CreateClassPathDirectoryListRecursive("/", list, 0, 1, 1, 1), WException);
}

TEST_F(ArchiveListing, OfOneDirectoryHasBareNames) {
  char** list = nullptr;
  sii_CreateClassPathDirectoryList(sandbox_.path().c_str(), list);
  Texts names(list, std::find(list, list + 4, nullptr));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Texts{"a.jar.old", "b.zipper", "lib.jar"}));
  sii_DestroyDirectoryList(list, 4);
}

TEST(FileExists, AnEntryOfTheListingIsThere) {
  Sandbox sandbox;
  sandbox.write("sub/file", "");
  fs::create_symlink("nowhere", sandbox.path("dangling"));
  const std::string root = sandbox.path();
  EXPECT_EQ(sii_fileExists(root.c_str(), "sub"), 1);
  EXPECT_EQ(sii_fileExists(root.c_str(), "dangling"), 1);
  for (const char* name : {"sub/file", "SUB", ""}) {
    EXPECT_EQ(sii_fileExists(root.c_str(), name), 0) << name;
  }
  EXPECT_EQ(sii_fileExists("", "etc"), 0);
}

TEST(CurrentDirectory, MayBeLongerThanTheSystemTakes) {
  const Sandbox sandbox;
  const std::string deep = enterDeepDirectory(sandbox.path());
  EXPECT_EQ(sii_GetCurrentDirectory(), deep);
}

TEST(CurrentDirectory, IsTheFormerOneWhenTheSystemCannotTell) {
  const Sandbox sandbox;
  fs::create_directory(sandbox.path("gone"));
  fs::current_path(sandbox.path("gone"));
  EXPECT_EQ(sii_GetCurrentDirectory(), sandbox.path("gone"));
  fs::remove(sandbox.path("gone"));
  EXPECT_EQ(sii_GetCurrentDirectory(), sandbox.path("gone"));
}

int runProgram(Texts words) {
  const auto nullIndex = static_cast<int>(words.size());
  return sii_execute_program_in_new_process(pointersTo(words).data(), nullIndex);
}

TEST(Program, ReturnsTheRawStatus) {
  EXPECT_EQ(runProgram({"true"}), 0);
  EXPECT_EQ(runProgram({"sh", "-c", "exit 3"}), 3 << 8);
  EXPECT_EQ(runProgram({"sh", "-c", "kill -9 $$"}), SIGKILL);
}

TEST(Program, HasAStatusWhereSigchldIsIgnored) {
  ::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(runProgram({"sh", "-c", "exit 3"}), 3 << 8);
  EXPECT_EQ(::signal(SIGCHLD, SIG_DFL), SIG_IGN);
}

TEST(Program, ThatCannotRunFailsInTheChild) {
  EXPECT_EQ(inChild([] { std::exit(runProgram({"/no/such/program"}) >> 8); }),
            (Outcome{255, "Failed to exec :No such file or directory\n"}));
  const auto unended = [] {
    Texts words = {"true"};
    std::exit(sii_execute_program_in_new_process(pointersTo(words).data(), 0) >> 8);
  };
  EXPECT_EQ(inChild(unended), (Outcome{255, "you must set more one arg as NULL\n"}));
}

#ifndef __SANITIZE_ADDRESS__  // the leak check wants a process of its own
TEST(Program, ThatCannotBeForkedEndsTheLauncher) {
  const auto run = [] {
    constexpr rlimit noProcess = {0, 0};
    ::setrlimit(RLIMIT_NPROC, &noProcess);
    // The limit is not for root.
    if (::geteuid() == 0 && ::setuid(65534) != 0) std::exit(1);
    runProgram({"true"});
  };
  EXPECT_EQ(inChild(run), (Outcome{255, "can't fork new process\n"}));
}
#endif

TEST(Program, DoesNotRepeatWhatWasPrintedBefore) {
  EXPECT_EQ(inChild([] {
              std::printf("once ");
              runProgram({"/no/such/program"});
            }),
            (Outcome{0, "once Failed to exec :No such file or directory\n"}));
}

}  // namespace
