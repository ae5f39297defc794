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

/// The archives that the recursive listing finds, sorted.
std::string archives(const std::string& directory, int maxCount, int maxDepth) {
  char** list = new char* [static_cast<std::size_t>(maxCount) + 1] {};
  const int index =
      sii_CreateClassPathDirectoryListRecursive(directory.c_str(), list, 0, 1, maxCount, maxDepth);
  Texts entries(list, std::find(list, list + maxCount, nullptr));
  EXPECT_EQ(entries.size(), static_cast<std::size_t>(index));
  std::sort(entries.begin(), entries.end());
  sii_DestroyDirectoryList(list, maxCount);
  return joined(entries);
}

TEST(Platform, WalksDirectoriesWithinTheLimits) {
  Sandbox sandbox;
  const Texts files = split("lib.jar|n.txt|a.jar.old|b.zipper|LIB.JAR|sub/x.zip|sub/in/y.jar");
  for (const std::string& name : files) sandbox.write(name, "");
  const std::string root = sandbox.path();
  std::filesystem::create_symlink("lib.jar", root + "/link.jar");
  std::filesystem::create_symlink("..", root + "/sub/up");
  std::filesystem::create_directory(root + "/dir.jar");
  const std::string top = root + "/a.jar.old|" + root + "/b.zipper|" + root + "/lib.jar|";
  EXPECT_EQ(archives(root, 10, 1), top);
  EXPECT_EQ(archives(root, 10, 2), top + root + "/sub/x.zip|");
  EXPECT_EQ(archives(root, 10, 9), top + root + "/sub/in/y.jar|" + root + "/sub/x.zip|");
  EXPECT_EQ(split(archives(root, 2, 9)).size(), 2U);
  EXPECT_EQ(archives(root + "/none", 2, 9), "");
  char** list = nullptr;
  EXPECT_THROW(sii_CreateClassPathDirectoryListRecursive(root.c_str(), list, 0, 1, 1, 1),
               WException);
  sii_CreateClassPathDirectoryList(root.c_str(), list);
  Texts names(list, std::find(list, list + 4, nullptr));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(joined(names), "a.jar.old|b.zipper|lib.jar|");
  sii_DestroyDirectoryList(list, 4);

  // A path may be longer than the system takes in one piece.
  const std::string name(250, 'd');
  ASSERT_EQ(::chdir((root + "/dir.jar").c_str()), 0);
  for (int level = 0; level < 20; ++level) {
    ASSERT_EQ(::mkdir(name.c_str(), 0755), 0);
    ASSERT_EQ(::chdir(name.c_str()), 0);
  }
  std::fclose(std::fopen("deep.jar", "w"));
  ASSERT_EQ(::chdir("/"), 0);
  EXPECT_EQ(archives(root + "/dir.jar", 10, 30).size(), root.size() + 8 + 20 * 251 + 10);
}

TEST(Platform, FindsNamesInAListing) {
  Sandbox sandbox;
  sandbox.write("file", "");
  sandbox.write("sub/inner", "");
  std::filesystem::create_symlink("nowhere", sandbox.path("dangling"));
  const auto isThere = [&](const std::string& name) {
    return sii_fileExists(sandbox.path().c_str(), name.c_str()) == 1;
  };
  EXPECT_EQ(accepted("file|sub|dangling|inner|sub/inner|FILE||fil", isThere), "file|sub|dangling|");
  EXPECT_EQ(sii_fileExists("", "etc"), 0);
  EXPECT_EQ(sii_fileExists(sandbox.path("file").c_str(), "x"), 0);
}

TEST(Platform, RunsProgramsAndReturnsTheRawStatus) {
  const auto run = [](const std::string& line, int nullIndex) {
    Texts words = split(line);
    return sii_execute_program_in_new_process(pointersTo(words).data(), nullIndex);
  };
  // A parent may have left SIGCHLD ignored, or let a handler interrupt the wait.
  for (auto* action : {SIG_DFL, SIG_IGN}) {
    ::signal(SIGCHLD, action);
    EXPECT_EQ(run("true", 1), 0);
    EXPECT_EQ(run("sh|-c|exit 3", 3), 3 << 8);
    EXPECT_EQ(run("sh|-c|kill -9 $$", 3), SIGKILL);
    EXPECT_EQ(::signal(SIGCHLD, SIG_DFL), action);
  }
  const Outcome broken = inChild([&] {
    std::printf("once ");
    std::printf("%d ", WEXITSTATUS(run("true", 0)));
    std::fflush(stdout);
    std::printf("%d", WEXITSTATUS(run("/no/such/program", 1)));
  });
  EXPECT_EQ(broken.out,
            "once you must set more one arg as NULL\n255 "
            "Failed to exec :No such file or directory\n255");
}

TEST(Messages, AreFormattedFromTheCatalogueAndEndTheProcess) {
  const std::string path(5000, 'p');
  const std::string text = "Failed to load shared library, library name : ";
  const auto told = [](long number, int count, const std::string& argument, bool isLoaded = true) {
    return inChild([&] {
      if (isLoaded) EventLogging::Initialize(propertiesOf("ntservice.name=n"));
      EventLogging::FatalError(number, count, argument.c_str());
    });
  };
  EXPECT_EQ(told(0xC00003F1L, 1, "/x.so"), (Outcome{255, text + "/x.so\n"}));
  EXPECT_EQ(told(0xC00003F1L, 1, path).out, text + path + "\n");
  EXPECT_EQ(told(0xC00003F1L, 0, "").out, text + "%s\n");
  EXPECT_EQ(told(0xC00003E9L, 0, "").out, "Service is not installed, service name : %1.\n");
  EXPECT_EQ(told(0xC00003E7L, 1, "x"), (Outcome{255, "0xC00003E7\n"}));
  EXPECT_EQ(told(0xC00003F1L, 1, "x", false), (Outcome{255, "0xC00003F1\n"}));
  const Outcome silent = inChild([] {
    Logging::Debug("unseen");
    Logging::EnableSilent();
    Logging::Info({"seen ", "in pieces"});
    Logging::FatalError("x");
  });
  EXPECT_EQ(silent, (Outcome{255, "seen in pieces\nx\n"}));
}

}  // namespace
