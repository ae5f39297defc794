#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/ZipFile.h"
#include "kvf/cds/ArchivableClassPath.h"
#include "kvf/cds/ArchiveManifest.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataEntry.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/cds/StaleCodeTrial.h"
#include "kvf/cds/StartMeasurement.h"
#include "kvf/formats/Archive.h"
#include "kvf/formats/BuildId.h"
#include "kvf/formats/Sha256.h"
#include "kvf/launch/Inspector.h"
#include "kvf/launch/JvmTrialRun.h"
#include "kvf/process/FileError.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"
#include "support/Jdk.h"
#include "support/JsonMembers.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

/// To try a JVM a program starts itself, and this is one.
[[gnu::constructor]] void tryJvm(int count, char** arguments) {
  if (count > 3 && std::string_view(arguments[1]) == "try-jvm")
    ::_exit(runJvmTrial({arguments + 3, arguments + count}));
}

ClassDataEntry withArchive(const std::string& text, const char* kind) {
  return withClassDataArchive(text, *findArchiveKind(kind), "a.jsa", {}, std::nullopt);
}

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
      // Words of the user's own.
      {entry + "-Xlog:cds*=off,gc:file=gc.log -Dopts=-Xshare:auto\n",
       entry + "-Xlog:cds*=off,gc:file=gc.log -Dopts=-Xshare:auto " + added + "\n"},
      {entry + "-Da=\"b -Xshare:auto\" \\\n-Xshare:auto -Db\\\n-Xshare:auto\n",
       entry + "-Da=\"b -Xshare:auto\" -Db\\\n-Xshare:auto " + added + "\n"},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(withArchive(row.text, "dynamic").text, row.changed) << row.text;
    EXPECT_EQ(withArchive(row.changed, "static").text, row.changed);
  }
  EXPECT_EQ(withClassDataArchive("", *findArchiveKind("dynamic"), "50%.jsa", {}, "-Xint").line,
            entry + R"(-Xint -XX:SharedArchiveFile="%kvf.file.dir%/50\\%.jsa" -Xlog:cds*=off)");
}

TEST(ClassDataEntry, AnotherKindTakesThePlace) {
  const std::string cache =
      "java.extended.properties=-Da -XX:AOTCache=\"%kvf.file.dir%/a.jsa\" "
      "-Xlog:aot*=off,cds*=off\n";
  const std::string archive =
      "java.extended.properties=-Da -XX:SharedArchiveFile=\"%kvf.file.dir%/a.jsa\" "
      "-Xlog:cds*=off\n";
  EXPECT_EQ(withArchive(archive, "aot").text, cache);
  EXPECT_EQ(withArchive(cache, "static").text, archive);
  EXPECT_EQ(withoutClassDataArchive("b=1\n" + cache), "b=1\njava.extended.properties=-Da\n");
  EXPECT_EQ(withoutClassDataArchive("b=1\n"), "b=1\n");
  const ClassDataEntry further =
      withClassDataArchive(cache, *findArchiveKind("aot"), "a.jsa", {"-Da", "-Db"}, std::nullopt);
  EXPECT_TRUE(further.line.starts_with("java.extended.properties=-Da -Db -XX:AOTCache="));
  EXPECT_EQ(withEntry("k=a\\\nb\nc=d\n", "k", "e"), "k=e\nc=d\n");
}

TEST(ClassDataSharing, ComplaintsOfTheJvm) {
  EXPECT_EQ(complaintInLog("[1s][info][cds] fine\n[1s][warning][cds] Skipping X: Not linked\n"),
            "");
  EXPECT_EQ(complaintInLog("[0.1s][error  ][cds] Unheard of\n[0.1s][info][cds] x\n"), "Unheard of");
  EXPECT_EQ(complaintInLog("[2s][error][cds       ] Error: non-empty directory 'dd'\n"),
            "a folder in the class path is not empty; name the archives in it instead");
}

TEST(ClassDataSharing, OptionsForTheEnvironment) {
  EXPECT_EQ(asWords({"-Xint", "-Da=/a b/it's", "-Db=\"c\""}),
            "-Xint \"-Da=/a b/it's\" '-Db=\"c\"'");
  EXPECT_EQ(asWords({"-Da='\""}), std::nullopt);
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
    std::string bytes = header + "Server VM (" + version + ")" + std::string("\0/old/x.jar\0", 12);
    // Its time and size, which is 0, where numbers can be.
    struct stat status = {};
    ::stat(jar.c_str(), &status);
    bytes.resize(40);
    bytes.append(reinterpret_cast<const char*>(&status.st_mtim.tv_sec), 8).append(8, '\0');
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
  EXPECT_EQ(classPathOfArchives({"/x/=a.jar"}, "/x"), "%kvf.file.dir%/=a.jar");
}

TEST(ClassDataSharing, NothingOfAFolderIsLost) {
  Sandbox sandbox;
  sandbox.write("real/com/A.class", "A");
  sandbox.write("real/D.class", "");
  sandbox.write("classes/B.class", "");
  const std::string classes = sandbox.path("classes");
  fs::create_symlink("../real/com", classes + "/com");
  fs::create_symlink("../..", classes + "/com/up");
  fs::create_symlink("gone", classes + "/gone");
  const std::string file = sandbox.write("whole.jar", archiveOfFolder(classes));
  const Archive archive(file);
  EXPECT_EQ(archive.read("com/A.class"), "A");
  EXPECT_TRUE(archive.contains("com/"));
  EXPECT_TRUE(archive.contains("com/up/real/D.class"));
  EXPECT_FALSE(archive.contains("com/up/real/com/A.class")) << "a circle";

  // A folder that has the name of an archive is none.
  sandbox.write("lib/a.jar/A.class", "");
  EXPECT_EQ(foldersOfClasses({sandbox.path("lib")}), Texts{sandbox.path("lib")});

  fs::permissions(fs::path(sandbox.path()).parent_path(), fs::perms(0755));
  fs::permissions(sandbox.path("real/com"), fs::perms(0311));
  const auto asNobody = [](const std::function<void()>& action) {
    const uid_t self = ::geteuid();
    EXPECT_EQ(::seteuid(self == 0 ? 65534 : self), 0);
    EXPECT_THROW(action(), FileError);
    EXPECT_EQ(::seteuid(self), 0);
  };
  const std::string hidden = sandbox.path("real/com");
  asNobody([&] { archiveOfFolder(classes); });
  asNobody([&] { foldersOfClasses({hidden}); });
  asNobody([&] { classPathOfArchives({hidden}, sandbox.path()); });
  fs::permissions(hidden, fs::perms(0755));
}

TEST(ClassDataSharing, WhatSpeaksAgainstAKind) {
  Sandbox sandbox;
  sandbox.write("conf/log.xml", "");
  const std::string conf = sandbox.path("conf");
  const std::string jar = sandbox.write("a.jar", "");
  struct Case {
    unsigned release;
    Texts options, classPath;
    std::string kinds;  ///< those that nothing speaks against
  };
  const Case cases[] = {
      {8, {}, {jar}, ""},
      {11, {}, {jar}, "static "},
      {12, {}, {jar}, "static "},
      {13, {}, {jar}, "static dynamic "},
      {24, {}, {jar}, "aot static dynamic "},
      {25, {"--limit-modules=java.base"}, {jar}, ""},
      {25, {"-agentlib:jdwp=transport=dt_socket"}, {jar}, "dynamic "},
      {21, {"-agentlib:jdwp=transport=dt_socket"}, {jar}, "static dynamic "},
      {25, {}, {conf, jar}, ""},
      {25, {}, {jar, conf}, "static dynamic "},
      {25, {}, {conf}, ""},
  };
  for (const Case& row : cases) {
    ClassDataLaunch launch;
    launch.jvm.release = row.release;
    launch.options = row.options;
    launch.classPath = row.classPath;
    std::string kinds;
    for (const ArchiveKind& kind : archiveKinds()) {
      if (classDataWritingObstacles(launch, kind).empty()) kinds += concat({kind.name, " "});
    }
    EXPECT_EQ(kinds, row.kinds) << row.release << testing::PrintToString(row.classPath);
  }
}

TEST(ClassDataSharing, WhatIsMadeOfACommandCanBeMadeAnew) {
  struct Case {
    unsigned release;
    const char* wanted;
    bool withCommand;
    std::string kinds;
    std::string remark;
  };
  const std::string once =
      "kvf cds --refresh cannot make an AOT cache of a command anew: with one a JVM records "
      "nothing";
  const Case cases[] = {
      {25, "auto", false, "aot static dynamic ", ""},
      {25, "auto", true, "static dynamic ", once + "; --kind=aot makes one all the same"},
      {25, "aot", true, "aot ", once},
      {25, "static", true, "static ", ""},
      {21, "auto", true, "static dynamic ", ""},
      {21, "aot", true, "", ""},
  };
  Sandbox sandbox;
  for (const Case& row : cases) {
    ClassDataLaunch launch;
    launch.jvm.release = row.release;
    launch.classPath = {sandbox.write("a.jar", "")};
    const SuitableKinds suitable = suitableKinds(launch, row.wanted, row.withCommand);
    std::string kinds;
    for (const ArchiveKind* kind : suitable.kinds) kinds += concat({kind->name, " "});
    EXPECT_EQ(kinds, row.kinds) << row.release << row.wanted;
    EXPECT_EQ(suitable.remark, row.remark) << row.release << row.wanted;
  }
}

TEST(ClassDataSharing, ArchivesThatManifestsNameByAbsolutePaths) {
  Sandbox sandbox;
  const auto jar = [&](const std::string& name, const std::string& named) {
    return writeArchive(sandbox, name, {{"META-INF/MANIFEST.MF", "Class-Path: " + named + "\r\n"}});
  };
  const std::string leaf = jar("far/leaf.jar", "");
  const std::string circle = jar("far/circle.jar", sandbox.path("app.jar") + " " + leaf);
  jar("inner.jar", leaf);
  // What is beside it a JVM finds; what is missing, or no archive, it does not take.
  const std::string app =
      jar("app.jar", "inner.jar /gone.jar " + sandbox.path("far") + "/ " + circle);
  const std::string last = jar("last.jar", circle);
  EXPECT_EQ(withNamedArchives({app, "/gone.jar", last}),
            (Texts{app, leaf, circle, "/gone.jar", last}));
  EXPECT_EQ(withNamedArchives({app, circle, leaf}), (Texts{app, circle, leaf}));
  EXPECT_EQ(withNamedArchives({leaf, leaf}), (Texts{leaf, leaf}));
}

TEST(ClassDataSharing, WhatANewOrderChanges) {
  Sandbox sandbox;
  sandbox.write("conf/log.xml", "");
  sandbox.write("conf/only.xml", "");
  const std::string jar = writeArchive(sandbox, "app.jar", {{"log.xml", ""}, {"A.class", ""}});
  EXPECT_EQ(changedByOrder({sandbox.path("conf"), jar}), (Texts{"log.xml (from app.jar)"}));
  EXPECT_EQ(changedByOrder({jar, sandbox.path("conf")}), Texts());
  // An archive of the folder has its place.
  EXPECT_EQ(classPathOfArchives({sandbox.path("conf"), jar}, sandbox.path(),
                                {{sandbox.path("conf"), sandbox.path("conf.jar")}}),
            "%kvf.file.dir%/conf.jar:%kvf.file.dir%/app.jar");
  const Archive archive(sandbox.write("conf.jar", archiveOfFolder(sandbox.path("conf"))));
  EXPECT_EQ(archive.size(), 2);
  EXPECT_EQ(archive.read("only.xml"), "");
}

TEST(ArchiveManifest, IsReadAsItIsWritten) {
  const ArchiveManifest manifest = {
      .kind = "static",
      .archiveBytes = 17,
      .javaVersion = "25.0.5",
      .buildId = "abc",
      .options = {"--add-opens=java.base/java.lang=ALL-UNNAMED"},
      .classPath = {{.path = "/a.jar", .bytes = 3, .seconds = 1, .digest = "d"},
                    {.path = "/gone", .isThere = false},
                    {.path = "/conf", .isFolder = true}},
      .referenced = {{.path = "/b.jar", .bytes = 4, .seconds = 2}},
      .recordName = "a.jsa.classes",
      .training = {.command = {"run", "it's"}, .runFor = 5, .until = "started"}};
  EXPECT_EQ(parseArchiveManifest(textOf(manifest)), manifest);
  for (const char* text : {"", "{}", "[1]", R"({"schema": 2})", R"({"schema": 1, "kind": 5})"})
    EXPECT_EQ(parseArchiveManifest(text), std::nullopt) << text;
}

TEST(Formats, DigestsAndBuildIds) {
  Sha256 digest;
  digest.add("a");
  digest.add("bc");
  EXPECT_EQ(digest.digest(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  Sha256 longer;
  for (int i = 0; i < 1000; ++i) longer.add(std::string(1000, 'a'));
  EXPECT_EQ(longer.digest(), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  Sandbox sandbox;
  EXPECT_EQ(buildIdOf(sandbox.write("text", std::string(100, 'x'))), "");
  EXPECT_EQ(buildIdOf("/gone"), "");
  const std::string id = buildIdOf(jvmLibrary());
  const std::string notes = sandbox.run({"readelf", "-n", jvmLibrary()}).out;
  EXPECT_EQ(id.empty(), notes.find("Build ID: ") == std::string::npos);
  EXPECT_NE(notes.find(id), std::string::npos) << id;
}

TEST(StartMeasurement, QuartilesAndWhatGains) {
  const Quartiles quartiles = quartilesOf({5, 1, 3, 2, 4});
  EXPECT_EQ(quartiles.low, 2);
  EXPECT_EQ(quartiles.median, 3);
  EXPECT_EQ(quartiles.high, 4);
  EXPECT_EQ(quartilesOf({1, 2}).median, 1.5);
  const auto gains = [](double median, double high) {
    return StartTimes{.ratio = {.low = 0, .median = median, .high = high}}.gains();
  };
  EXPECT_TRUE(gains(0.5, 0.6));
  EXPECT_FALSE(gains(0.5, 1.1));
  EXPECT_FALSE(gains(0.99, 0.995));
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

  void expectWhatTheJvmDoes(const ArchiveKind& kind);

  void kvf(const std::string& classPath, const std::string& more = "") {
    sandbox_.write("app.kvf", "java.library=" + jvmLibrary() + "\njava.start.class=probe.Probe\n" +
                                  classPath + "\n" + more);
  }

  [[nodiscard]] Outcome cds(Texts arguments = {}) const {
    // The kind that is made soonest; what one starts with counts.
    arguments.insert(arguments.begin(), {VELOX_KVF, "cds", "--pairs=0", "app.kvf"});
    const auto isKind = [](const std::string& text) { return text.starts_with("--kind"); };
    if (std::none_of(arguments.begin(), arguments.end(), isKind))
      arguments.insert(arguments.begin() + 2, "--kind=dynamic");
    return sandbox_.run(arguments, {.environment = {jvmInside}});
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

TEST_F(Cds, ReportsOfAnArchiveWhatTheJvmDoes) {
  for (const char* name : {"dynamic", "static"}) expectWhatTheJvmDoes(*findArchiveKind(name));
}

void Cds::expectWhatTheJvmDoes(const ArchiveKind& kind) {
  SCOPED_TRACE(kind.name);
  fs::last_write_time(jar(), fs::file_time_type::clock::now() - std::chrono::hours(1));
  kvf("java.class.path=" + jar(), "java.property.probe.do=exit:7\n");
  ASSERT_EQ(cds({concat({"--kind=", kind.name}), "--write"}).status, 0);
  const fs::path archive = sandbox_.path("app.jsa");
  const ArchiveManifest manifest = readManifest(archive).value();
  const std::string other = sandbox_.path("lib/other.jar");
  fs::copy_file(VELOX_ACME_JAR, other, fs::copy_options::overwrite_existing);
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
    const ClassDataAcceptance jvm = acceptanceOf(kind, archive, launch, sandbox_.path());
    EXPECT_EQ(manifestMisfits(manifest, archive, launch, false).empty(), row.told.empty())
        << row.classPath;
    EXPECT_EQ(jvm.accepted, row.told.empty()) << row.classPath << jvm.complaint;
    // Of a whole archive the names of its jars are not known so well.
    const Texts told = classDataMisfits(archive, launch.jvm.library, launch.classPath);
    const bool isUnknown = std::string_view(kind.name) == "static" && told.empty() &&
                           row.told == "it was written for another class path";
    EXPECT_TRUE(isUnknown || told == (row.told.empty() ? Texts() : Texts{row.told}))
        << row.classPath << testing::PrintToString(told);
  };
  for (const Row& row : rows) expect(row);
  // As after the installation of an older package, too.
  for (const int hours : {-2, 2}) {
    fs::last_write_time(jar(), fs::last_write_time(archive) + std::chrono::hours(hours));
    expect({jar(), jar() + " has changed since it was written"});
  }

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
  // What cannot be read is no misfit, and ends no check.
  fs::permissions(fs::path(sandbox_.path()).parent_path(), fs::perms(0755));
  fs::permissions(jar(), fs::perms(0));
  EXPECT_TRUE(sandbox_.run({VELOX_KVF, "check", "--deep", "app.kvf"}, {.asNobody = true})
                  .has("it is not known whether \"" + sandbox_.path("app.jsa") +
                       "\" still fits: cannot read " + jar() + ": Permission denied"));
}

TEST_F(Cds, ReportsAFolderInFrontOfArchivesWithTheClassPathToWrite) {
  kvf("velox.class.path.extended=%kvf.file.dir%/lib");
  const Outcome outcome = cds();
  EXPECT_EQ(outcome, (Outcome{1, "kvf: the folder \"" + sandbox_.path("lib") +
                                     "\" is on the class path and not empty, and archives follow "
                                     "it\nName the archives themselves, instead of "
                                     "velox.class.path.extended:\n"
                                     "java.class.path=%kvf.file.dir%/lib/probe.jar\n"}));
  EXPECT_FALSE(fs::exists(sandbox_.path("app.jsa")));
}

TEST_F(Cds, FoldersOfClassesAreKnownBeforeAnythingRuns) {
  sandbox_.write("conf/log.xml", "");
  const std::string value = sandbox_.path("conf") + ":" + jar();
  kvf("java.class.path=" + value, "java.property.probe.do=exit:7\n");
  const Outcome told = cds();
  EXPECT_EQ(told.status, 1);
  EXPECT_TRUE(told.has("java.class.path=%kvf.file.dir%/lib/probe.jar:%kvf.file.dir%/conf\n"));
  EXPECT_TRUE(told.has("kvf cds --jar makes archives of the folders")) << told.out;
  EXPECT_FALSE(told.has("env["));
  EXPECT_EQ(cds({"--jar"}).status, 1);
  const Outcome made = cds({"--jar", "--write"});
  EXPECT_EQ(made.status, 0) << made.out;
  EXPECT_TRUE(sandbox_.read("app.kvf").find(
                  "\njava.class.path=%kvf.file.dir%/conf.jar:%kvf.file.dir%/lib/probe.jar\n") !=
              std::string::npos);
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "check", "app.kvf"}), (Outcome{0, ""}));
}

TEST_F(Cds, ArchivesOfFoldersAppearTogetherOrNotAtAll) {
  sandbox_.write("classes/one.xml", "");
  sandbox_.write("b/classes/two.xml", "");
  sandbox_.write("classes-2.jar", "mine");
  const std::string value =
      concat({sandbox_.path("classes/"), ":", sandbox_.path("b/classes"), ":", jar()});
  const std::string part = sandbox_.write("part.kvf", "java.class.path=" + value + "\n");
  const std::string made =
      "java.class.path=%kvf.file.dir%/classes.jar:%kvf.file.dir%/classes-3.jar:";
  kvf("java.class.path=" + value, "velox.include.kvf=" + part + "\n");
  const Outcome overruled = cds({"--jar", "--write"});
  EXPECT_EQ(overruled.status, 1);
  EXPECT_TRUE(overruled.has("is left as it is: with this line")) << overruled.out;
  EXPECT_EQ(sandbox_.run({"ls", "-A"}).out, "app.kvf\nb\nclasses\nclasses-2.jar\nlib\npart.kvf\n");

  kvf("java.class.path=" + value, "java.property.probe.do=exit:7\n");
  EXPECT_EQ(cds({"--jar", "--write"}).status, 0);
  EXPECT_NE(sandbox_.read("app.kvf").find(made), std::string::npos) << sandbox_.read("app.kvf");
  EXPECT_TRUE(Archive(sandbox_.path("classes.jar")).contains("one.xml"));
  EXPECT_TRUE(Archive(sandbox_.path("classes-3.jar")).contains("two.xml"));
  EXPECT_EQ(sandbox_.read("classes-2.jar"), "mine");
}

TEST_F(Cds, TheJvmHasTheEnvironmentOfTheLaunch) {
  // Which bytes a name has is up to the locale.
  const std::string jar = sandbox_.path(
      "gr\xC3\xB6\xC3\x9F"
      "e.jar");
  fs::copy_file(VELOX_PROBE_JAR, jar);
  kvf("java.class.path=" + jar, "java.property.probe.do=exit:7\n");
  const Outcome outcome = sandbox_.run({VELOX_KVF, "cds", "--kind=static", "--pairs=0", "app.kvf"},
                                       {.environment = {jvmInside, {"LC_ALL", "C.UTF-8"}}});
  // Not every release finds the class of such a path in an archive, but each finds it.
  const bool isAccepted = outcome.status == 0;
  EXPECT_TRUE(isAccepted || outcome.has("a letter beyond ASCII in an archive")) << outcome.out;
}

TEST_F(Cds, ArchivesThatAManifestNamesAreNamedForTheJvm) {
  const std::string outer = writeArchive(
      sandbox_, "outer.jar", {{"META-INF/MANIFEST.MF", "Class-Path: " + jar() + "\r\n"}});
  kvf("java.class.path=" + outer, "java.property.probe.do=exit:7\n");
  const Outcome told = cds({"--kind=static"});
  EXPECT_EQ(told.status, 1);
  EXPECT_TRUE(told.has("manifests of the class path name 1 archive by absolute paths")) << told.out;
  const Outcome made = cds({"--kind=static", "--jar", "--write"});
  EXPECT_EQ(made.status, 0) << made.out;
  EXPECT_TRUE(made.has("java.class.path=%kvf.file.dir%/outer.jar:%kvf.file.dir%/lib/probe.jar\n"));
  EXPECT_FALSE(made.has("manifests of the class path"));
}

TEST_F(Cds, TheDocumentIsAllThatIsOnStandardOutput) {
  kvf("java.class.path=" + jar(), "java.property.probe.do=exit:7\n");
  const auto document = [&](const std::string& arguments, int status) {
    const Outcome outcome =
        sandbox_.run({"sh", "-c", VELOX_KVF " cds --json app.kvf 2>err " + arguments},
                     {.environment = {jvmInside}});
    EXPECT_EQ(outcome.status, status) << outcome.out << sandbox_.read("err");
    return outcome.out.empty() ? nlohmann::json() : nlohmann::json::parse(outcome.out);
  };
  const std::string always =
      "chosen file java java.library java.version kinds kinds.failure kinds.kind kinds.made line "
      "schema starts unwritten why written";
  const nlohmann::json shown = document("--kind=static --pairs=0", 0);
  EXPECT_EQ(shown["why"], "not measured");
  EXPECT_EQ(shown["written"], false);
  EXPECT_EQ(shown["unwritten"], "--write was not given");

  // What gains nothing is written, too.
  const nlohmann::json made = document("--kind=static --pairs=2 --write", 0);
  EXPECT_EQ(membersOf(made),
            "chosen chosen.archive chosen.bytes chosen.kind chosen.options file java java.library "
            "java.version kinds kinds.failure kinds.kind kinds.made line schema starts "
            "starts.archiveBytes starts.name starts.processorSeconds starts.ratio "
            "starts.ratio.high starts.ratio.low starts.ratio.median starts.seconds "
            "starts.seconds.high starts.seconds.low starts.seconds.median unwritten why written");
  EXPECT_EQ(made["starts"][0]["name"], "plain");
  EXPECT_EQ(made["starts"][0]["ratio"]["median"], 1.0);
  EXPECT_EQ(made["starts"][1]["archiveBytes"], made["chosen"]["bytes"]);
  EXPECT_EQ(made["written"], true);
  EXPECT_EQ(made["unwritten"], "");
  EXPECT_NE(sandbox_.read("app.kvf").find(made["line"].get<std::string>()), std::string::npos);
  EXPECT_NE(sandbox_.read("err").find("\nstatic archive "), std::string::npos) << "the table";
  EXPECT_NE(sandbox_.read("err").find("env["), std::string::npos) << "of the application";

  kvf("java.class.path=" + sandbox_.path("lib"));
  const nlohmann::json impossible = document("", 1);
  EXPECT_EQ(membersOf(impossible), always);
  EXPECT_EQ(impossible["kinds"].size(), 3U);
  EXPECT_NE(impossible["kinds"][1]["failure"].get<std::string>().find("only the folder"),
            std::string::npos);
  kvf("java.class.path=" + jar());
  const nlohmann::json failed = document("--kind=dynamic -- /bin/true", 1);
  EXPECT_EQ(failed["kinds"][0]["failure"], failed["why"]);
  EXPECT_TRUE(document("-- /no/such", 2).is_null());
  EXPECT_TRUE(document("--refresh", 2).is_null());
}

TEST_F(Cds, IsMadeAnewWhenItHasToBe) {
  kvf("java.class.path=" + jar(), "java.property.probe.do=exit:7\n");
  const Texts refresh = {VELOX_KVF, "cds", "--refresh", "app.kvf"};
  EXPECT_EQ(sandbox_.run(refresh),
            (Outcome{2, "kvf: app.kvf uses no archive; kvf cds --write adds one\n"}));
  ASSERT_EQ(cds({"--kind=static", "--write"}).status, 0);
  EXPECT_EQ(sandbox_.run(refresh), (Outcome{0, ""}));

  const auto time = fs::last_write_time(jar());
  fs::last_write_time(jar(), time - std::chrono::hours(1));
  // Neither of two at once runs the application, and the second one has nothing to do.
  Child other = sandbox_.start(refresh);
  const Outcome one = sandbox_.run(refresh);
  const Outcome two = other.wait();
  EXPECT_EQ(one.status + two.status, 0) << one.out << two.out;
  EXPECT_EQ(one.out + two.out, "kvf: " + sandbox_.path("app.jsa") + ": " + jar() +
                                   " has changed since it was written; it is made anew\n");
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "check", "app.kvf"}), (Outcome{0, ""}));

  // What no JVM sees.
  const auto now = fs::last_write_time(jar());
  std::string bytes = sandbox_.read("lib/probe.jar");
  bytes[bytes.size() / 2] ^= 1;
  sandbox_.write("lib/probe.jar", bytes);
  fs::last_write_time(jar(), now);
  EXPECT_FALSE(sandbox_.run({VELOX_KVF, "check", "app.kvf"}).has("class-data-archive"));
  EXPECT_TRUE(sandbox_.run({VELOX_KVF, "check", "--deep", "app.kvf"}).has("its former code"));
}

TEST_F(Cds, AnotherKindLeavesNothingOfTheFormer) {
  kvf("java.class.path=" + jar(), "java.property.probe.do=exit:7\n");
  const std::string own = "app.jsa\napp.jsa.manifest\napp.kvf\nlib\n";
  ASSERT_EQ(cds({"--kind=static", "--write"}).status, 0);
  EXPECT_TRUE(fs::exists(sandbox_.path("app.jsa.classes")));
  ASSERT_EQ(cds({"--kind=dynamic", "--write"}).status, 0);
  EXPECT_EQ(sandbox_.run({"ls", "-A"}).out, own);

  sandbox_.write("app.jsa.manifest", "{");
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "cds", "--refresh", "app.kvf"}),
            (Outcome{2, "kvf: " + sandbox_.path("app.jsa") +
                            " has a damaged manifest; kvf cds --write makes both\n"}));
}

TEST_F(Cds, ShortStartsAreFromAnArchiveOfTheirCollector) {
  kvf("java.class.path=" + jar(), "java.property.probe.do=exit:7\n");
  const Outcome outcome = sandbox_.run(
      {VELOX_KVF, "cds", "--kind=dynamic", "--pairs=1", "--short", "--write", "app.kvf"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has(" -XX:+UseSerialGC -XX:ArchiveClassesAtExit=") ||
              outcome.has(": -XX:+UseSerialGC -XX:ArchiveClassesAtExit="))
      << outcome.out;
  EXPECT_TRUE(outcome.has("\ndynamic archive, C1 ") &&
              outcome.has("\ndynamic archive, serial and C1 "));
}

TEST_F(Cds, ARuntimeWithoutProgramsOrAnArchiveOfItsOwn) {
  const fs::path from = javaHome();
  const fs::path to = sandbox_.path("jre");
  fs::create_directories(to / "lib/server");
  for (const auto& entry : fs::directory_iterator(from / "lib")) {
    if (entry.path().filename() != "server")
      fs::create_symlink(entry.path(), to / "lib" / entry.path().filename());
  }
  // The JVM's home is where this file is.
  fs::copy_file(jvmLibrary(), to / "lib/server/libjvm.so");
  fs::copy_file(from / "release", to / "release");
  fs::create_symlink(from / "conf", to / "conf");
  kvf("java.class.path=" + jar(),
      "java.library=%kvf.file.dir%/jre/lib/server/libjvm.so\njava.property.probe.do=exit:7\n");
  const Outcome outcome = cds({"--kind=static", "--write"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has("app.jsa: static archive, ")) << outcome.out;
  EXPECT_EQ(
      sandbox_.run({VELOX_WRAPPER, "--propFile", "app.kvf"}, {.environment = {jvmInside}}).status,
      7);
  EXPECT_EQ(cds({"--kind=dynamic"}).status, 1) << "there is nothing to put it on";
}

TEST_F(Cds, AFullDiskIsNoAnswer) {
  kvf("java.class.path=" + jar(), "java.property.probe.do=exit:7\n");
  const Outcome outcome = sandbox_.run(
      {"sh", "-c",
       "ulimit -f 2048; exec " VELOX_KVF " cds --kind=static --pairs=0 --write app.kvf 2>&1"},
      {.environment = {jvmInside}});
  EXPECT_EQ(outcome.status, 2) << outcome.out;
  EXPECT_TRUE(outcome.has("it could not be stored; the file system is full, perhaps\n"));
  EXPECT_EQ(sandbox_.run({"ls", "-A"}).out, "app.kvf\nlib\n");
}

TEST_F(Cds, ReportsWhatGainsNothing) {
  kvf("java.class.path=" + jar(),
      "java.property.probe.do=exit:7\n"
      "java.extended.properties=-XX:SharedArchiveFile=gone.jsa -Xshare:auto\n");
  const std::string slow =
      "case $_JAVA_OPTIONS in *SharedArchiveFile=/*) sleep 1;; esac; "
      "exec " VELOX_WRAPPER " --run --propFile app.kvf";
  const Texts measured = {VELOX_KVF, "cds", "--kind=static", "--pairs=1", "app.kvf"};
  Texts command = measured;
  command.insert(command.end(), {"--", "sh", "-c", slow});
  const Outcome outcome = sandbox_.run(command);
  EXPECT_EQ(outcome.status, 1) << outcome.out;
  EXPECT_TRUE(outcome.has("\nplain ") && outcome.has("\nas it is ")) << outcome.out;
  EXPECT_TRUE(outcome.has("\nstatic archive "));
  EXPECT_TRUE(outcome.has("does not start sooner with it.\nThe file is left as it is;"))
      << outcome.out;
  EXPECT_FALSE(fs::exists(sandbox_.path("app.jsa")));
}

TEST_F(Cds, AnApplicationHasStartedOnceItSaysSo) {
  kvf("java.class.path=" + jar(), "java.property.probe.do=exit:7\n");
  const Outcome outcome = sandbox_.run(
      {VELOX_KVF, "cds", "--kind=static", "--pairs=1", "--until=env[", "--write", "app.kvf"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has("\nplain ") && outcome.has("\nstatic archive ")) << outcome.out;
}

TEST_F(Cds, NoKindRunsFormerCode) {
  const Jvm jvm = jvmOfLibrary(jvmLibrary()).value();
  for (const ArchiveKind& kind : archiveKinds()) {
    if (jvm.release < kind.firstRelease) continue;
    // These are known to do so.
    const bool isWrong = std::string_view(kind.name) == "aot" && jvm.version.starts_with("25.0.") &&
                         jvm.version < "25.0.4";
    const StaleCodeTrial trial = tryReplacedJar(kind, jvm, sandbox_.path());
    EXPECT_EQ(trial.isRight, !isWrong) << kind.name << ": " << trial.complaint;
  }
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
      {"", "echo > app.jsa", 2, "app.jsa exists and is not a class-data archive"},
  };
  for (const Case& row : cases) {
    for (const char* name : {"app.jsa", "app.jsa.manifest", "other.kvf"})
      fs::remove(sandbox_.path(name));
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
                  (fs::exists(sandbox_.path("app.jsa")) && sandbox_.read("app.jsa").size() > 9
                       ? "app.jsa.manifest\n"
                       : "") +
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
                                 {.environment = {jvmInside, {"TMPDIR", sandbox_.path("lib")}}});
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

TEST_F(Cds, AFailureLeavesNoArchive) {
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
