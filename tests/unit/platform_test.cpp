#include <algorithm>
#include <csignal>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "foundation/WException.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "support/Properties.h"
#include "support/Run.h"

namespace {

struct Listing {
  int index;
  Texts entries;  ///< sorted
};

Listing listArchives(const std::string& directory, int maxCount, int maxDepth) {
  char** list = new char* [static_cast<std::size_t>(maxCount) + 1] {};
  const int index =
      sii_CreateClassPathDirectoryListRecursive(directory.c_str(), list, 0, 1, maxCount, maxDepth);
  Texts entries;
  for (char** entry = list; *entry != nullptr; ++entry) entries.emplace_back(*entry);
  std::sort(entries.begin(), entries.end());
  sii_DestroyDirectoryList(list, maxCount);
  return {index, entries};
}

TEST(Platform, WalksDirectoriesWithinTheLimits) {
  Sandbox sandbox;
  for (const char* name : {"lib.jar", "notes.txt", "a.jar.old", "b.zipper", "LIB.JAR", "sub/x.zip",
                           "sub/deep/y.jar"}) {
    sandbox.write(name, "");
  }
  std::filesystem::create_symlink("lib.jar", sandbox.path("link.jar"));
  std::filesystem::create_symlink("..", sandbox.path("sub/up"));
  std::filesystem::create_directory(sandbox.path("dir.jar"));
  const std::string root = sandbox.path();
  const Texts top = {root + "/a.jar.old", root + "/b.zipper", root + "/lib.jar"};
  EXPECT_EQ(listArchives(root, 10, 1).entries, top);
  EXPECT_EQ(listArchives(root, 10, 2).entries.back(), root + "/sub/x.zip");
  EXPECT_EQ(listArchives(root, 10, 9).index, 5);
  EXPECT_EQ(listArchives(root, 2, 9).index, 2);
  EXPECT_EQ(listArchives(root + "/none", 2, 9).index, 0);
  char** none = nullptr;
  EXPECT_THROW(sii_CreateClassPathDirectoryListRecursive(root.c_str(), none, 0, 1, 1, 1),
               WException);
  char** flat = nullptr;
  sii_CreateClassPathDirectoryList(root.c_str(), flat);
  EXPECT_EQ(Texts(flat, std::find(flat, flat + 4, nullptr)).size(), 3U);
  EXPECT_EQ(std::string(flat[0]).find('/'), std::string::npos);
  sii_DestroyDirectoryList(flat, 4);
}

TEST(Platform, WalksPathsThatAreLongerThanTheSystemTakesInOnePiece) {
  const Sandbox sandbox;
  const std::string name(250, 'd');
  ASSERT_EQ(::chdir(sandbox.path().c_str()), 0);
  for (int level = 0; level < 20; ++level) {
    ASSERT_EQ(::mkdir(name.c_str(), 0755), 0);
    ASSERT_EQ(::chdir(name.c_str()), 0);
  }
  std::fclose(std::fopen("deep.jar", "w"));
  ASSERT_EQ(::chdir("/"), 0);
  const Listing listing = listArchives(sandbox.path(), 10, 30);
  ASSERT_EQ(listing.index, 1);
  EXPECT_EQ(listing.entries[0].size(), sandbox.path().size() + 20 * 251 + 9);
}

TEST(Platform, FindsNamesInAListing) {
  Sandbox sandbox;
  sandbox.write("file", "");
  sandbox.write("sub/inner", "");
  std::filesystem::create_symlink("nowhere", sandbox.path("dangling"));
  const std::pair<const char*, int> cases[] = {{"file", 1},  {"sub", 1},       {"dangling", 1},
                                               {"inner", 0}, {"sub/inner", 0}, {"FILE", 0},
                                               {"", 0},      {"fil", 0}};
  for (const auto& [name, found] : cases) {
    EXPECT_EQ(sii_fileExists(sandbox.path().c_str(), name), found) << name;
  }
  EXPECT_EQ(sii_fileExists("", "etc"), 0);
  EXPECT_EQ(sii_fileExists(sandbox.path("file").c_str(), "x"), 0);
}

TEST(Platform, RunsProgramsAndReturnsTheRawStatus) {
  const auto run = [](Texts words, int nullIndex) {
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    return sii_execute_program_in_new_process(argv.data(), nullIndex);
  };
  // A parent may have left SIGCHLD ignored, or let a handler interrupt the wait.
  for (auto* action : {SIG_DFL, SIG_IGN}) {
    ::signal(SIGCHLD, action);
    EXPECT_EQ(run({"true"}, 1), 0);
    EXPECT_EQ(run({"sh", "-c", "exit 3"}, 3), 3 << 8);
    EXPECT_EQ(run({"sh", "-c", "kill -9 $$"}, 3), SIGKILL);
    EXPECT_EQ(::signal(SIGCHLD, SIG_DFL), action);
  }
  const Outcome broken = inChild([&] {
    std::printf("once ");
    std::printf("%d ", WEXITSTATUS(run({"true"}, 0)));
    std::fflush(stdout);
    std::printf("%d", WEXITSTATUS(run({"/no/such/program"}, 1)));
  });
  EXPECT_EQ(broken.out,
            "once you must set more one arg as NULL\n255 "
            "Failed to exec :No such file or directory\n255");
}

TEST(Messages, AreFormattedFromTheCatalogue) {
  const auto fatal = [](bool loaded, long number, int count, const char* argument) {
    return inChild([=] {
      if (loaded) EventLogging::Initialize(propertiesOf({{"ntservice.name", "n"}}));
      EventLogging::FatalError(number, count, argument);
    });
  };
  const std::string longPath(5000, 'p');
  struct Case {
    bool loaded;
    long number;
    int count;
    const char* argument;
    std::string out;
  };
  const Case cases[] = {
      {true, 0xC00003F1L, 1, "/x.so", "Failed to load shared library, library name : /x.so\n"},
      {true, 0xC00003F1L, 1, longPath.c_str(),
       "Failed to load shared library, library name : " + longPath + "\n"},
      {true, 0xC00003F1L, 0, "", "Failed to load shared library, library name : %s\n"},
      {true, 0xC00003E9L, 0, "", "Service is not installed, service name : %1.\n"},
      {true, 0xC00003E7L, 1, "x", "0xC00003E7\n"},
      {false, 0xC00003F1L, 1, "x", "0xC00003F1\n"},
  };
  for (const Case& row : cases) {
    const Outcome outcome = fatal(row.loaded, row.number, row.count, row.argument);
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(outcome.status, 255);
  }
}

TEST(Messages, DebugIsSilentUntilItIsOnAndFatalEndsTheProcess) {
  const Outcome outcome = inChild([] {
    Logging::Debug("unseen");
    Logging::EnableSilent();
    Logging::Info({"seen ", "in pieces"});
    Logging::FatalError("x");
  });
  EXPECT_EQ(outcome.out, "seen in pieces\nx\n");
  EXPECT_EQ(outcome.status, 255);
}

}  // namespace
