#include <fstream>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "e2e/WrapperTest.h"

namespace {

namespace fs = std::filesystem;

/// Files that are not what they seem: planted links, pipes, full disks, includes without end.
class UntrustedFiles : public WrapperTest {
 protected:
  static void limit(int resource, rlim_t most) {
    const rlimit limits = {most, most};
    ::setrlimit(static_cast<__rlimit_resource>(resource), &limits);
  }
  /// With a limit on the size of files, which ThreadSanitizer does not survive where it finds room
  /// for a file of its own.
  static Start withFileSize(rlim_t most) {
    return {.environment = {{"TMPDIR", "/dev/null"}},
            .inChild = [most] { limit(RLIMIT_FSIZE, most); }};
  }

  const std::string java_ = "java.path=" + sandbox_.write("java", "#!/bin/sh\necho ran\n", true) +
                            "\njava.start.class=Main\n";
};

TEST_F(UntrustedFiles, AreNotUsedAsTheLogFile) {
  if (!sandbox_.canLog()) GTEST_SKIP() << "the log file is another user's";
  kvf("");
  const fs::path log = sandbox_.logFile();
  const std::string victim = log.parent_path() / "victim";
  const struct {
    std::string reason;
    std::function<void()> plant;
  } rows[] = {
      {" is a symbolic link", [&] { fs::create_symlink(victim, log); }},
      {" has another link", [&] { fs::create_hard_link(victim, log); }},
      {" is not a regular file", [&] { ASSERT_EQ(::mkfifo(log.c_str(), 0666), 0); }},
      {" belongs to another user",
       [&] {
         std::ofstream(log) << "kept";
         ASSERT_TRUE(::geteuid() != 0 || ::chown(log.c_str(), 1, 1) == 0);
       }},
  };
  for (const auto& [reason, plant] : rows) {
    if (reason.ends_with("user") && ::geteuid() != 0) continue;
    std::ofstream(victim) << "kept";
    fs::remove(log);
    plant();
    const std::string line = "No log file: /tmp/wrap.log" + reason + "\n";
    const Outcome outcome = wrapper({"--debug", "--version"});
    EXPECT_EQ(outcome.status, 0) << reason;
    EXPECT_NE(outcome.withoutLine(line), outcome) << "once: " << line << outcome.out;
    EXPECT_EQ(sandbox_.read(victim), "kept") << reason;
    EXPECT_TRUE(!fs::is_regular_file(log) || sandbox_.read(log) == "kept") << reason;
  }
  fs::remove(log);
  fs::create_directory(log);
  EXPECT_TRUE(wrapper({"--debug", "--version"}).out.starts_with("Properties file used is"));
  fs::remove(log);
  const Start withMask = {.inChild = [] { ::umask(022); }};
  EXPECT_EQ(wrapper({"--debug", "--version"}, withMask).status, 0);
  EXPECT_EQ(fs::status(log).permissions(), fs::perms(0644));
  std::ofstream(log) << "old";
  EXPECT_EQ(wrapper({"--debug", "--version"}, withFileSize(200)).status, 0);
  EXPECT_TRUE(sandbox_.read(log).starts_with("Properties file used is : app.kvf\n"));
  fs::remove(log);
}

TEST_F(UntrustedFiles, NamedPipesAreReadOnceThereIsAWriterButNeverWaitedForByTheProcessId) {
  for (const char* name : {"pipe", "include"}) {
    ASSERT_EQ(::mkfifo(sandbox_.path(name).c_str(), 0666), 0);
  }
  sandbox_.write("java.kvf", "#" + std::string(5000, 'x') + "\n" + java_);
  kvf("velox.include.kvf=include\nprocessID.file.name=pipe\n");
  EXPECT_EQ(sandbox_.run({"bash", "-c",
                          "(sleep 0.2; cat java.kvf > include) & exec " VELOX_WRAPPER
                          " --propFile app.kvf --cmdlineJava"}),
            (Outcome{0, "file pipe can not accessran\n"}));
  kvf("processID.file.name=pipe\n" + java_);
  EXPECT_EQ(
      wrapper({"--kill", "Abort"}),
      (Outcome{1, "Process cannot be killed because its process ID file \"pipe\" is empty\n"}));
  EXPECT_EQ(sandbox_.run(
                {"bash", "-c", "exec " VELOX_WRAPPER " --propFile <(cat app.kvf) --cmdlineJava"}),
            (Outcome{0, "file pipe can not accessran\n"}));
}

TEST_F(UntrustedFiles, IncludesHaveLimitsAndNeedNoStack) {
  const std::string padding = "# " + std::string(1048500, 'x') + "\n";
  std::string entries;
  for (int i = 0; i < 124900; ++i) entries += "k" + std::to_string(i) + "=\n";
  const auto include = [](const std::string& name, int count = 1) {
    std::string text;
    while (count-- > 0) text += "velox.include.kvf=" + name + "\n";
    return text;
  };
  for (int level = 1; level < 1026; ++level) {
    sandbox_.write("deep" + std::to_string(level), include("deep" + std::to_string(level + 1)));
  }
  sandbox_.write("deep1024", java_);
  sandbox_.write("deep1025", java_);
  for (int level = 0; level < 40; ++level) {
    sandbox_.write("twice" + std::to_string(level),
                   include("twice" + std::to_string(level + 1), 2));
  }
  sandbox_.write("twice40", java_);
  sandbox_.write("large", padding + include("large"));
  sandbox_.write("many", entries + include("many"));
  sandbox_.write("padding", padding);
  sandbox_.write("entries", entries);
  sandbox_.write("taken", include("entries"));
  const struct {
    std::string text;
    Outcome expected;
  } rows[] = {
      {include("deep1"), {0, "ran\n"}},
      {include("deep0"), {255, "Include files nest too deeply at properties file : deep1024\n"}},
      {include("twice0"), {255, "Too many include files at properties file : twice39\n"}},
      {include("large"), {255, "Include files are too large at properties file : large\n"}},
      {include("many"), {255, "Too many entries in front of includes at properties file : many\n"}},
      {include("padding", 256) + java_, {0, "ran\n"}},
      {include("padding", 257),
       {255, "Include files are too large at properties file : padding\n"}},
      {include("entries", 4) + java_, {0, "ran\n"}},
      {include("taken") + include("entries", 3),
       {255, "Include files are too large at properties file : entries\n"}},
  };
  sandbox_.write("deep0", include("deep1"));
  for (const auto& [text, expected] : rows) {
    kvf(text);
    EXPECT_EQ(wrapper({"--cmdlineJava"}, {.inChild = [] { limit(RLIMIT_STACK, 512 * 1024); }}),
              expected)
        << text.substr(0, 80);
  }
}

TEST_F(UntrustedFiles, AProcessIdFileThatCannotBeWrittenWholeIsReportedAndHoldsNoNumber) {
  kvf(java_ + "processID.file.name=/dev/full\n");
  EXPECT_EQ(wrapper({"--cmdlineJava"}), (Outcome{0, "file /dev/full can not accessran\n"}));
  kvf(java_ + "processID.file.name=pid\n");
  for (const rlim_t size : {0UL, 1UL}) {
    EXPECT_EQ(wrapper({"--cmdlineJava"}, withFileSize(size)),
              (Outcome{0, "file pid can not accessran\n"}))
        << size;
    EXPECT_EQ(sandbox_.read("pid"), "") << size;
  }
}

TEST_F(UntrustedFiles, AreNotRunWithRaisedPrivileges) {
  kvf(java_);
  const std::string raised = sandbox_.path("raised");
  const Texts line = {raised, "--propFile", "app.kvf", "--cmdlineJava"};
  // The leak check cannot look into such a process.
  const Start start = {.environment = {{"ASAN_OPTIONS", "detect_leaks=0"}}, .asNobody = true};
  fs::copy_file(VELOX_WRAPPER, raised);
  ASSERT_EQ(sandbox_.run(line, start), (Outcome{0, "ran\n"}));
  if (::geteuid() != 0) GTEST_SKIP() << "only root can raise privileges";
  const Outcome refused = {255,
                           "The wrapper does not start with set-user-ID, set-group-ID or file "
                           "capabilities: it runs what its caller names\n"};
  const Start withTools = {.environment = {{"PATH", "/usr/sbin:/sbin:/usr/bin:/bin"}}};
  Texts raises = {"chmod u+s raised"};
#ifndef __SANITIZE_ADDRESS__
  // Such a process may not read its own environment, so the leak check cannot be switched off.
  raises.emplace_back("chown 1 raised && chmod u+s raised");
  raises.emplace_back("chmod u-s raised && chgrp 1 raised && chmod g+s raised");
#endif
  if (sandbox_.run({"setcap", "-h"}, withTools).status == 0) {
    raises.emplace_back("chmod u-s,g-s raised && setcap cap_net_raw+ep raised");
  }
  for (const std::string& raise : raises) {
    ASSERT_EQ(sandbox_.run({"sh", "-c", raise}, withTools), (Outcome{0, ""}));
    EXPECT_EQ(sandbox_.run(line, start), refused) << raise;
  }
}

}  // namespace
