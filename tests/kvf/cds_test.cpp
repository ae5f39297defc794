#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <unistd.h>

#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataEntry.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/launch/Inspector.h"
#include "kvf/text/FileText.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

TEST(ClassDataEntry, OnlyTheEntryChanges) {
  const std::string added = "-XX:SharedArchiveFile=\"%kvf.file.dir%/a.jsa\" -Xlog:cds*=off";
  const std::string entry = "java.extended.properties=";
  struct Case {
    std::string text;
    std::string changed;
  };
  const Case cases[] = {
      {"", entry + added + "\n"},
      {"a=1\n", "a=1\n" + entry + added + "\n"},
      // A line end would let the launcher export the variable.
      {"a=1\nvelox.env.X=\\\n2", "a=1\n" + entry + added + "\nvelox.env.X=\\\n2"},
      {entry + "-Xint\nb=2", entry + "-Xint " + added + "\nb=2"},
      {entry + "-Xint  \r\nb=2", entry + "-Xint " + added + "\r\nb=2"},
      {entry + "\n", entry + added + "\n"},
      {"java.extended.properties = -Da= \\\n-Db", entry + "-Da= \\\n-Db " + added},
      {entry + "-Da\n" + entry + "-Db\n", entry + "-Da\n" + entry + "-Db " + added + "\n"},
      {entry + added + "\n", entry + added + "\n"},
      {entry + "-Xlog:cds*=off -Da -XX:SharedArchiveFile=\"/o p/x\" -Db\n",
       entry + "-Da -Db " + added + "\n"},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(withClassDataArchive(row.text, "a.jsa", std::nullopt).text, row.changed) << row.text;
    EXPECT_EQ(withClassDataArchive(row.changed, "a.jsa", std::nullopt).text, row.changed);
  }
  EXPECT_EQ(withClassDataArchive("", "50%.jsa", "-Xint").line,
            entry + R"(-Xint -XX:SharedArchiveFile="%kvf.file.dir%/50\\%.jsa" -Xlog:cds*=off)");
}

TEST(ClassDataSharing, ComplaintsOfTheJvm) {
  EXPECT_EQ(complaintInLog("[1s][info][cds] fine\n[1s][warning][cds] Skipping X: Not linked\n"),
            "");
  EXPECT_EQ(complaintInLog("[0.1s][error  ][cds] Unheard of\n[0.1s][info][cds] x\n"), "Unheard of");
  EXPECT_EQ(complaintInLog("[2s][error][cds       ] Error: non-empty directory 'dd'\n"),
            "a folder in the class path is not empty; name the archives in it instead");
}

TEST(ClassDataSharing, OptionsForTheEnvironment) {
  EXPECT_EQ(archiveWritingOptions("/a b/it's.jsa", "/l"),
            "-XX:SharedArchiveFile= -XX:ArchiveClassesAtExit=\"/a b/it's.jsa\" -Xlog:cds*=off "
            "-Xlog:cds*=info:file=/l");
  EXPECT_EQ(archiveWritingOptions("/'\"", "/l"), std::nullopt);
}

TEST(ClassDataArchive, TheLastOptionCounts) {
  EXPECT_EQ(
      sharedArchiveFiles({"-XX:SharedArchiveFile=/a", "-Xint", "-XX:SharedArchiveFile=/b:/c"}),
      (Texts{"/b", "/c"}));
  EXPECT_EQ(sharedArchiveFiles({"-Xint"}), Texts());
}

TEST(ClassDataArchive, JarsMayMoveTogetherSinceJava20) {
  Sandbox sandbox;
  const std::string jar = sandbox.write("new/x.jar", "");
  const auto misfits = [&](const std::string& version) {
    const std::string header("\xa8\xab\x0b\xf0\0", 5);
    const std::string bytes =
        header + "Server VM (" + version + ")" + std::string("\0/old/x.jar\0", 12);
    return classDataMisfits(sandbox.write("x.jsa", bytes), "/gone", {"/classes", jar});
  };
  EXPECT_EQ(misfits("20.0.1+1"), Texts());
  EXPECT_EQ(misfits("19.0.2+1"), (Texts{"it was written for another class path"}));
  EXPECT_EQ(classDataMisfits("/gone", "/gone", {}), (Texts{"there is no such file"}));
}

TEST(ClassDataSharing, TheClassPathToWriteHasFoldersOfClassesAtItsEnd) {
  Sandbox sandbox;
  sandbox.write("classes/A.class", "");
  EXPECT_EQ(classPathOfArchives({sandbox.path("classes"), "/x/a.jar"}, sandbox.path()),
            "/x/a.jar:%kvf.file.dir%/classes");
}

TEST(ClassDataSharing, OlderJvmsWriteNoArchiveAtTheirEnd) {
  ClassDataLaunch launch;
  launch.jvm.release = 12;
  EXPECT_EQ(classDataWritingObstacles(launch).size(), 1);
  launch.jvm.release = 13;
  EXPECT_EQ(classDataWritingObstacles(launch), Texts());
}

/// The Java fixture with an archive of its own in lib/.
class Cds : public testing::Test {
 protected:
  void SetUp() override {
    if (javaRelease() < 13) GTEST_SKIP() << "before Java 13 a JVM writes no archive at its end";
  }

  Cds() {
    fs::create_directory(sandbox_.path("lib"));
    fs::copy_file(VELOX_PROBE_JAR, sandbox_.path("lib/probe.jar"));
    // The JVM compares whole seconds.
    fs::last_write_time(jar(), fs::file_time_type::clock::now() - std::chrono::hours(1));
  }

  [[nodiscard]] std::string jar() const { return sandbox_.path("lib/probe.jar"); }

  void kvf(const std::string& classPath, const std::string& more = "") {
    sandbox_.write("app.kvf", "java.library=" + jvmLibrary() + "\njava.start.class=probe.Probe\n" +
                                  classPath + "\n" + more);
  }

  [[nodiscard]] Outcome cds(Texts arguments = {}) const {
    arguments.insert(arguments.begin(), {VELOX_KVF, "cds", "app.kvf"});
    return sandbox_.run(arguments,
                        {.environment = {{"ASAN_OPTIONS", "handle_segv=0:detect_leaks=0"}}});
  }

  Sandbox sandbox_;
};

TEST_F(Cds, TheArchiveIsWrittenAcceptedAndNamedInTheFile) {
  kvf("java.class.path=%kvf.file.dir%/lib/probe.jar", "java.property.probe.do=exit:7\n");
  const std::string before = sandbox_.read("app.kvf");
  const Outcome outcome = cds({"--write"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has("env[null]\n") && outcome.has("the application ended with status 7"));
  EXPECT_TRUE(outcome.has(", accepted by Java ")) << outcome.out;
  EXPECT_EQ(sandbox_.read("app.kvf"),
            before +
                "java.extended.properties="
                "-XX:SharedArchiveFile=\"%kvf.file.dir%/app.jsa\" -Xlog:cds*=off\n");

  EXPECT_EQ(sandbox_.run({VELOX_KVF, "check", "app.kvf"}), (Outcome{0, ""}));
  EXPECT_TRUE(cds().has("\nthe file uses it already:\n"));
}

TEST_F(Cds, WhatIsToldOfAnArchiveIsWhatTheJvmDoes) {
  kvf("java.class.path=" + jar(), "java.property.probe.do=exit:7\n");
  ASSERT_EQ(cds({"--write"}).status, 0);
  const fs::path archive = sandbox_.path("app.jsa");
  const std::string other = sandbox_.path("lib/other.jar");
  fs::copy_file(VELOX_ACME_JAR, other);
  struct Row {
    std::string classPath;
    std::string told;  ///< empty: nothing
  };
  const Row rows[] = {
      {jar(), ""},
      {jar() + ":" + other, ""},
      {jar() + ":/missing.jar", ""},
      {other + ":" + jar(), other + " was not on the class path when it was written"},
      {other, "it was written for another class path"},
      {"/missing.jar", "it was written for another class path"},
  };
  const auto expect = [&](const Row& row) {
    sandbox_.write("this.kvf",
                   sandbox_.read("app.kvf") + "java.class.path=" + row.classPath + "\n");
    const Inspection inspection = inspectFile(sandbox_.path("this.kvf"));
    const ClassDataLaunch launch = classDataSubject(inspection).launch.value();
    const ClassDataAcceptance jvm = acceptanceOf(archive, launch, sandbox_.path());
    EXPECT_EQ(jvm.accepted, row.told.empty()) << row.classPath << jvm.complaint;
    EXPECT_EQ(classDataMisfits(archive, launch.jvm.library, launch.classPath),
              row.told.empty() ? Texts() : Texts{row.told})
        << row.classPath;
  };
  for (const Row& row : rows) expect(row);
  fs::last_write_time(jar(), fs::last_write_time(archive) + std::chrono::seconds(2));
  expect({jar(), jar() + " has changed since it was written"});

  EXPECT_EQ(classDataMisfits(jar(), jvmLibrary(), {jar()}),
            (Texts{"it is not a class-data archive"}));
  EXPECT_TRUE(
      classDataMisfits(archive, javaProgram(), {jar()}).at(0).starts_with("another JVM wrote"));
}

TEST_F(Cds, ALineThatItWroteIsSound) {
  sandbox_.write("base.kvf", "java.extended.properties=-Xint\n");
  sandbox_.write("app.kvf", "java.library=" + jvmLibrary() +
                                "\njava.start.class=probe.Probe\nvelox.include.kvf=%kvf.file.dir%/"
                                "base.kvf\njava.class.path=/missing.jar:" +
                                jar() + "\njava.property.probe.do=exit:7\n");
  ASSERT_EQ(cds({"--write"}).status, 0);
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "check", "--disable", "class-path-missing", "app.kvf"}),
            (Outcome{0, ""}));
}

TEST_F(Cds, AFolderInFrontOfArchivesIsToldWithTheClassPathToWrite) {
  kvf("velox.class.path.extended=%kvf.file.dir%/lib");
  const Outcome outcome = cds();
  EXPECT_EQ(outcome, (Outcome{1, "kvf: the folder \"" + sandbox_.path("lib") +
                                     "\" is on the class path and not empty, and archives follow "
                                     "it\nName the archives themselves, instead of "
                                     "velox.class.path.extended:\n"
                                     "java.class.path=%kvf.file.dir%/lib/probe.jar\n"}));
  EXPECT_FALSE(fs::exists(sandbox_.path("app.jsa")));
}

TEST_F(Cds, AServerIsEndedAfterTheTime) {
  kvf("java.class.path=" + jar(), "java.start.method=waiting\n");
  const Outcome outcome = cds({"--run-for", "5"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_FALSE(outcome.has("ended with status") || outcome.has("returning"));
}

TEST_F(Cds, WhatIsWrittenIsTheSameFileAndTakesEffectOrIsLeftAlone) {
  const std::string part = sandbox_.write("part.kvf", "java.extended.properties=-Da=1\n");
  const std::string owner = ::geteuid() == 0 ? "1234:1234" : std::to_string(::geteuid());
  struct Case {
    std::string more;     ///< at the end of the file
    std::string command;  ///< instead of the launch
    int status;
    std::string message;
  };
  const std::string launch = VELOX_WRAPPER " --run --propFile app.kvf; ";
  const Case cases[] = {
      {"", launch, 0, "changed "},
      {"velox.include.kvf=" + part, launch, 1, "has its value from " + part + ":1"},
      {std::string("#\0\n", 3), launch, 1, "is left as it is: with this line in it a launch would"},
      {"", "ln app.kvf other.kvf", 2, " has 2 names (hard links)"},
      {"", launch + "rm other.kvf; ln app.kvf other.kvf", 2, " has 2 names (hard links)"},
      {"", launch + "mv app.kvf other.kvf", 2, "cannot read " + sandbox_.path("app.kvf") + ": No"},
      {"", "echo > app.jsa", 2, "app.jsa is there and no class-data archive"},
  };
  for (const Case& row : cases) {
    for (const char* name : {"app.jsa", "other.kvf"}) fs::remove(sandbox_.path(name));
    const bool isBefore = !row.command.starts_with(launch);
    kvf("java.class.path=" + jar(), row.more);
    // What is in the way of a fixed name.
    sandbox_.write("app.kvf.new", "mine");
    sandbox_.write("app.jsa.new", "mine");
    ASSERT_EQ(sandbox_
                  .run({"sh", "-c",
                        "chown " + owner + " app.kvf; chmod 600 app.kvf; " +
                            (isBefore ? row.command : "")})
                  .status,
              0);
    const std::string before = sandbox_.read("app.kvf");
    Texts arguments = {"--write"};
    if (!isBefore) arguments.insert(arguments.end(), {"--", "sh", "-c", row.command});
    const Outcome outcome = cds(arguments);
    EXPECT_EQ(outcome.status, row.status) << row.message << "\n" << outcome.out;
    EXPECT_TRUE(outcome.has(row.message)) << outcome.out;
    const bool isMoved = !fs::exists(sandbox_.path("app.kvf"));
    EXPECT_EQ(sandbox_.read(isMoved ? "other.kvf" : "app.kvf") == before, row.status != 0);
    EXPECT_EQ(sandbox_.run({"sh", "-c", "ls -A; cat *.new"}).out,
              std::string(fs::exists(sandbox_.path("app.jsa")) ? "app.jsa\n" : "") +
                  "app.jsa.new\n" + (isMoved ? "" : "app.kvf\n") + "app.kvf.new\nlib\n" +
                  (fs::exists(sandbox_.path("other.kvf")) ? "other.kvf\n" : "") +
                  "part.kvf\nminemine");
    if (!isMoved) {
      EXPECT_EQ(sandbox_.run({"stat", "-c", "%u %a", "app.kvf"}).out,
                owner.substr(0, owner.find(':')) + " 600\n");
    }
  }
}

TEST_F(Cds, WhatIsStartedEndsWithIt) {
  kvf("java.class.path=" + jar(), "java.start.method=waiting\n");
  // A script between keeps a signal from the launcher.
  const std::string script = VELOX_WRAPPER " --run --propFile app.kvf & echo id $!; wait";
  for (const int signal : {SIGTERM, SIGHUP, SIGINT, SIGKILL}) {
    Child child = sandbox_.start({VELOX_KVF, "cds", "app.kvf", "--", "sh", "-c", script},
                                 {.environment = {{"ASAN_OPTIONS", "handle_segv=0:detect_leaks=0"},
                                                  {"TMPDIR", sandbox_.path("lib")}}});
    ASSERT_TRUE(child.prints("Picked up"));
    ::kill(child.id(), signal);
    const Outcome outcome = child.wait();
    EXPECT_EQ(outcome.status, 128 + signal) << outcome.out;
    const std::size_t at = outcome.out.find("id ");
    ASSERT_NE(at, std::string::npos) << outcome.out;
    const pid_t launcher = std::stoi(outcome.out.substr(at + 3));
    for (int i = 0; i < 500 && ::kill(launcher, 0) == 0; ++i) ::usleep(10000);
    EXPECT_EQ(::kill(launcher, 0), -1) << "still running after " << signal;
    if (signal == SIGKILL) continue;
    EXPECT_EQ(sandbox_.run({"sh", "-c", "ls -A . lib"}).out,
              ".:\napp.kvf\nlib\n\nlib:\nprobe.jar\n");
  }
  const Outcome outcome =
      sandbox_.run({VELOX_KVF, "cds", "app.kvf"}, {.environment = {{"TMPDIR", "/dev/null"}}});
  EXPECT_EQ(outcome, (Outcome{2, "kvf: cannot make a folder in /dev/null: Not a directory\n"}));
}

TEST_F(Cds, WhatCannotServeLeavesNoArchive) {
  struct Case {
    std::string more;
    Texts arguments;
    int status;
    std::string message;
  };
  const Case cases[] = {
      {"java.library=\n", {}, 2, "is not the library of a JVM"},
      {"velox.include.kvf=/gone\n", {}, 2, "Failed to open properties file : /gone"},
      {"java.start.class=\n", {}, 2, "it has no java.start.class"},
      {"java.extended.properties=-Xshare:off\n", {}, 1, "with the option \"-Xshare:off\""},
      {"", {"--", "/bin/true"}, 1, "the JVM wrote no archive"},
      {"", {"--", "/no/such"}, 2, "/no/such cannot be started: No such file or directory"},
      {"java.start.class=probe.Missing\n", {}, 1, "the JVM wrote no archive: it did not end"},
      {"",
       {"--", javaProgram(), "-cp", sandbox_.path("other.jar"), "probe.Probe"},
       1,
       "and does not use it: it was written for another class path"},
  };
  // Of another name: from Java 21 on all archives together may have moved to another folder.
  fs::copy_file(jar(), sandbox_.path("other.jar"));
  for (const Case& row : cases) {
    kvf("java.class.path=" + jar(), row.more);
    const Outcome outcome = cds(row.arguments);
    EXPECT_EQ(outcome.status, row.status) << row.message;
    EXPECT_TRUE(outcome.has(row.message)) << outcome.out;
    EXPECT_FALSE(fs::exists(sandbox_.path("app.jsa"))) << row.message;
  }
}

TEST(ClassDataArchive, Headers) {
  const std::string dynamic("\xa8\xab\x0b\xf0\1\2\3\0", 8);
  const std::string identity = "OpenJDK 64-Bit Server VM (17.0.15+6) for linux";
  EXPECT_FALSE(parseClassDataArchive(""));
  EXPECT_FALSE(parseClassDataArchive("PK\3\4 Server VM (17"));
  EXPECT_TRUE(parseClassDataArchive(dynamic)->dynamic);
  EXPECT_EQ(parseClassDataArchive(dynamic)->jvmIdentity, "");
  EXPECT_EQ(parseClassDataArchive(dynamic + identity + '\0' + "x")->jvmIdentity, identity);
  EXPECT_FALSE(parseClassDataArchive("\xa2\xab\x0b\xf0")->dynamic);
  // What comes after the header is not the JVM's identity.
  EXPECT_EQ(parseClassDataArchive(dynamic + std::string(4096, '\0') + identity)->jvmIdentity, "");
}

}  // namespace
