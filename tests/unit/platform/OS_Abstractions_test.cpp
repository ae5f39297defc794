#include "platform/OS_Abstractions.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/WString.h"
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

TEST(Program, HasAStatusWhereSigchldIsIgnored) {
  ::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(runProgram({"sh", "-c", "exit 3"}), 3 << 8);
  EXPECT_EQ(::signal(SIGCHLD, SIG_DFL), SIG_IGN);
}

TEST(Program, ItsWordsEndWithANull) {
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
