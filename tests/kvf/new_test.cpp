#include <filesystem>

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/ZipFile.h"
#include "kvf/formats/Archive.h"
#include "kvf/formats/Manifest.h"
#include "kvf/package/ApplicationTexts.h"
#include "kvf/package/NewApplication.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

const Start withJvm = {.environment = {jvmInside, {"JAVA_HOME", javaHome()}}};

class New : public testing::Test {
 protected:
  /// An archive of the Java fixture, if wanted, with this manifest.
  std::string jar(const std::string& name, const std::string& manifest, bool withProbe = true) {
    std::map<std::string, std::string> entries = {{manifestEntry, manifest}};
    if (withProbe) {
      entries["probe/Probe.class"] = Archive(VELOX_PROBE_JAR).read("probe/Probe.class").value();
    }
    return writeArchive(sandbox_, name, entries);
  }

  [[nodiscard]] Outcome kvfNew(Texts arguments) const {
    arguments.insert(arguments.begin(), {VELOX_KVF, "new"});
    return sandbox_.run(arguments, withJvm);
  }

  Sandbox sandbox_;
};

/// What the fixture prints for these arguments.
std::string printed(const Texts& arguments) {
  std::string text;
  for (const std::string& argument : arguments) text += "arg[" + argument + "]\n";
  return text + "property[";
}

TEST_F(New, TheScriptHandsOverArgumentsAndStatusFromAnywhere) {
  jar("probe-1.0.jar", "Main-Class: probe.Probe\n");
  ASSERT_EQ(kvfNew({"a b/100% x", "--jar", "probe-1.0.jar"}).status, 0);
  fs::create_symlink(sandbox_.path("a b/100% x/bin/probe"), sandbox_.path("link"));
  const std::string script = sandbox_.path("a b/100% x/bin/probe");
  const std::string tooLong(131072 - 13, 'x');

  const Texts rows[] = {
      {},
      {"plain", "", " ", "a  b", "tab\tline\nend\r", "--", "--run", "--propVar", "-x", ""},
      {"%HOME%", "100%", "\\%", "a\\", "it's", "$HOME `id` *", "naïve", "#!", "a=b"},
      {"--first", "say \"hi\"", "\"", "\"\"", "@@#@@", "-last", ""},
      {"",      "a\"b",   "--x",       "",      " lead",
       "=eq",   "n\nl\n", "t\tr\r",    "\t",    "100% %HOME% \\% \\",
       "tail ", "é",      "${x} `id`", "@@#@@", "--say=\"hi\"",
       "#c",    "\\",     "\\n",       "--",    "\n"},
      {"@@#@@", "--x"},
      {"\"", "%a", "--"},
      {"--a=" + std::string(100000, 'x'), std::string(100000, 'y'), "z"},
      {"--" + tooLong.substr(3)},
      {"--" + tooLong},
      {tooLong, "-after"},
  };
  for (const Texts& row : rows) {
    Texts line = row;
    line.insert(line.begin(), sandbox_.path("link"));
    const Outcome outcome = sandbox_.run(line, withJvm);
    EXPECT_TRUE(outcome.out.starts_with(printed(row))) << outcome.out.substr(0, 500);
    EXPECT_EQ(outcome.status, 0);
  }
  const Texts refused[] = {{"%@@#@@\"", "--x"}, {"\"", "--", "@@#@@%"}};
  for (const Texts& row : refused) {
    Texts line = row;
    line.insert(line.begin(), script);
    const Outcome outcome = sandbox_.run(line, withJvm);
    EXPECT_EQ(outcome.status, 64) << row[0].substr(0, 80);
    EXPECT_TRUE(outcome.has("cannot pass on argument " + std::to_string(row.size() == 2 ? 1 : 3)))
        << row[0];
  }

  sandbox_.write("a b/100% x/probe.kvf",
                 sandbox_.read("a b/100% x/probe.kvf") + "java.property.probe.do=exit:7\n");
  EXPECT_EQ(sandbox_.run({script}, withJvm).status, 7);
}

TEST_F(New, TheClassPathOfTheManifestComesAlongOnce) {
  jar("elsewhere/probe.jar", "Class-Path: ../app.jar\n");
  jar("lib/abs.jar", "Class-Path: ../app.jar\n", false);
  jar("lib/x.jar", "Manifest-Version: 1.0\n", false);
  jar("lib/sub dir/x.jar", "Manifest-Version: 1.0\n", false);
  jar("app.jar",
      "Main-Class: probe.Probe\r\nClass-Path: elsewhere/pro\r\n be.jar lib/sub%20dir/x.jar "
      "missing.jar lib/ file://" +
          sandbox_.path("lib/abs.jar") +
          "\r\nAdd-Opens: java.base/java.lang java.base/java.util\r\n"
          "Launcher-Agent-Class: Agent\r\n\r\nName: x\r\nMain-Class: other\r\n",
      false);
  const Outcome outcome = kvfNew({"made", "--jar", "app.jar", "--lib", "lib"});
  EXPECT_TRUE(outcome.has("the Class-Path of app.jar names missing.jar, which does not exist"));
  EXPECT_TRUE(outcome.has("the Class-Path of app.jar names lib/, which is not an archive"));
  EXPECT_TRUE(outcome.has("not carried over: Launcher-Agent-Class"));
  EXPECT_TRUE(outcome.status == 0) << outcome.out;

  const std::string lib = sandbox_.path("made/lib/");
  EXPECT_TRUE(sandbox_.run({"made/bin/app"}, withJvm)
                  .has("path[" + lib + "abs.jar:" + lib + "app.jar:" + lib + "probe.jar:" + lib +
                       "x.jar:" + lib + "x-2.jar]\n"));
  EXPECT_NE(
      sandbox_.read("made/app.kvf")
          .find(javaRelease() < 9
                    ? "\njava.extended.properties=%APP_JVM_OPTIONS%\n"
                    : "\njava.extended.properties=--add-opens=java.base/java.lang=ALL-UNNAMED "
                      "--add-opens=java.base/java.util=ALL-UNNAMED %APP_JVM_OPTIONS%\n"),
      std::string::npos);
}

TEST_F(New, ARuntimeComesAlongWithItsLinks) {
  if (javaRelease() < 9) GTEST_SKIP() << "a Java 8 has other folders";
  const fs::path home = withJvm.environment.at("JAVA_HOME");
  const fs::path jre = sandbox_.path("jre");
  // Of the runtime only what a start needs, and of that only its library as a file.
  fs::create_directories(jre / "lib/server");
  fs::copy_file(home / "lib/server/libjvm.so", jre / "lib/server/libjvm.so");
  for (const auto& entry : fs::directory_iterator(home / "lib")) {
    if (entry.path().filename() != "server")
      fs::create_symlink(entry.path(), jre / "lib" / entry.path().filename());
  }
  fs::create_directory_symlink(home / "conf", jre / "conf");
  sandbox_.write("jre/LICENSE", "");
  fs::create_symlink(jre / "LICENSE", jre / "COPYING");
  jar("probe.jar", "Main-Class: probe.Probe\n");
  const Outcome outcome = kvfNew({"made", "--jar", "probe.jar", "--jre", "jre"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has("and none could be made: it has no bin/java"));
  EXPECT_TRUE(outcome.has("links of the runtime lead out of it and stay links, such as runtime/"));
  fs::rename(sandbox_.path("made"), sandbox_.path("moved"));
  fs::remove_all(jre);
  EXPECT_EQ(sandbox_.run({"moved/bin/probe"}, withJvm).status, 0);
  EXPECT_EQ(fs::read_symlink(sandbox_.path("moved/runtime/COPYING")), "LICENSE");
  EXPECT_EQ(fs::read_symlink(sandbox_.path("moved/runtime/conf")), home / "conf");
  EXPECT_EQ(
      kvfNew({"moved", "--jar", "moved/lib/probe.jar", "--jre", "moved/runtime", "--force"}).status,
      0);
  EXPECT_TRUE(fs::is_regular_file(sandbox_.path("moved/runtime/lib/server/libjvm.so")));
}

TEST_F(New, ARuntimeGetsAnArchiveOfItsClasses) {
  jar("probe.jar", "Main-Class: probe.Probe\n");
  sandbox_.write("jre/lib/server/libjvm.so", "");
  sandbox_.write("jre/release", "JAVA_VERSION=\"17.0.1\"\n");
  const auto made = [&](const std::string& java) {
    sandbox_.write("jre/bin/java", "#!/bin/sh\n" + java, true);
    fs::remove_all(sandbox_.path("made"));
    return kvfNew({"made", "--jar", "probe.jar", "--jre", "jre"});
  };
  const std::string archive = "made/runtime/lib/server/classes.jsa";
  EXPECT_TRUE(
      made("echo 'no room'; echo half >classes.jsa; exit 1").has("none could be made: no room"));
  EXPECT_FALSE(fs::exists(sandbox_.path(archive)));
  EXPECT_TRUE(made("umask 77; case $* in *G1*) exit 1; esac; echo \"$*\" >classes.jsa")
                  .has("was given a class-data archive"));
  EXPECT_EQ(sandbox_.read(archive), "-Xshare:dump -Xmx128m -XX:+UseSerialGC\n");
  EXPECT_EQ(fs::status(sandbox_.path(archive)).permissions(), fs::perms(0644));
  // As old as the start class.
  sandbox_.write("jre/release", "JAVA_VERSION=\"1.8.0_392\"\n");
  EXPECT_EQ(made("exit 0").status, 0);
  sandbox_.write("jre/lib/server/classes.jsa", "its own");
  EXPECT_FALSE(made("exit 1").has("class-data"));
  EXPECT_EQ(sandbox_.read(archive), "its own");
}

TEST_F(New, ForceLosesNeitherInputsNorEdits) {
  jar("in/probe.jar", "Main-Class: probe.Probe\n");
  Start start = withJvm;
  start.inChild = [] { ::umask(077); };
  const auto make = [&](const Texts& arguments) {
    Texts line = {VELOX_KVF, "new", "made", "--force"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    return sandbox_.run(line, start);
  };
  ASSERT_EQ(make({"--jar", "in/probe.jar"}).status, 0);
  const std::string text = sandbox_.read("made/probe.kvf");
  for (const char* part : {"made", "made/bin", "made/bin/probe", "made/bin/wrapper"})
    EXPECT_EQ(fs::status(sandbox_.path(part)).permissions(), fs::perms(0755)) << part;

  sandbox_.write("made/probe.kvf", "edited");
  fs::permissions(sandbox_.path("made/probe.kvf"), fs::perms(0640));
  sandbox_.write("elsewhere", "linked");
  fs::remove(sandbox_.path("made/probe.service"));
  fs::create_symlink("../elsewhere", sandbox_.path("made/probe.service"));
  const Outcome again =
      make({"--jar", "made/lib/probe.jar", "--lib", "made/lib", "--wrapper", "made/bin/wrapper"});
  EXPECT_EQ(again.status, 0) << again.out;
  EXPECT_TRUE(again.has("note: what was there is kept as " + sandbox_.path("made/probe.kvf.orig")));
  EXPECT_EQ(sandbox_.read("made/probe.kvf.orig"), "edited");
  EXPECT_EQ(sandbox_.read("made/probe.kvf"), text);
  EXPECT_EQ(fs::status(sandbox_.path("made/probe.kvf")).permissions(), fs::perms(0640));
  EXPECT_EQ(sandbox_.read("elsewhere"), "linked");
  EXPECT_EQ(fs::read_symlink(sandbox_.path("made/probe.service.orig")), "../elsewhere");
  EXPECT_EQ(sandbox_.run({"made/bin/probe"}, withJvm).status, 0);

  sandbox_.write("made/probe.kvf", "edited again");
  EXPECT_EQ(make({"--jar", "in/probe.jar"}).status, 0);
  EXPECT_EQ(sandbox_.read("made/probe.kvf.orig.2"), "edited again");
  EXPECT_FALSE(fs::exists(sandbox_.path("made/bin/probe.orig")));
}

TEST_F(New, WhatCannotBeMadeLeavesNothingBehind) {
  jar("probe.jar", "Main-Class: probe.Probe\n");
  jar("none.jar", "Manifest-Version: 1.0\n");
  jar("empty.jar", "Manifest-Version: 1.0\n", false);
  const std::string probe = Archive(VELOX_PROBE_JAR).read("probe/Probe.class").value();
  writeArchive(
      sandbox_, "two.jar",
      {{"b/C.class", probe}, {"b/B.class", probe}, {"META-INF/versions/9/D.class", probe}});
  jar("wrong.jar", "Main-Class: probe.Prob\n");
  jar("wrapper.jar", "Main-Class: probe.Probe\n");
  sandbox_.write("text.jar", "text");
  sandbox_.write("there/file", "mine");
  sandbox_.write("old/lib/server/libjvm.so", "");
  sandbox_.write("old/release", "JAVA_VERSION=\"1.7.0_80\"\n");
  fs::create_directory(sandbox_.path("linked"));
  fs::create_symlink(fs::path(jvmLibrary()).parent_path().parent_path(),
                     sandbox_.path("linked/lib"));
  struct Case {
    Texts arguments;
    std::string message;
  };
  const Case cases[] = {
      {{"new", "--jar", "missing.jar"}, "missing.jar is not a readable archive"},
      {{"new", "--jar", "text.jar"}, "text.jar is not a readable archive"},
      {{"new", "--jar", "none.jar", "--jar", "empty.jar", "--jar", "two.jar"},
       "none.jar, empty.jar, two.jar name no start class in their manifests, and 3 classes have a "
       "main method: probe.Probe, b.B, b.C; choose one with --main"},
      {{"new", "--jar", "empty.jar"},
       "manifest, and no class there has a main method; give --main"},
      {{"new", "--jar", "probe.jar", "--java", "7"}, "no JVM of Java "},
      {{"new", "--jar", "probe.jar", "--java", "x"},
       "\"x\" is not a release of Java, such as 17 or 17..25"},
      {{"new"}, "give one of --jar FILE, -- java ..., --pid NUMBER and --unit UNIT"},
      {{"new", "--jar", "wrong.jar"}, "the start class probe.Prob is not in any of the archives"},
      {{"new", "--jar", "wrapper.jar"}, "\"wrapper\" cannot be the name"},
      {{"new", "--jar", "probe.jar", "--jre", "there"}, "there is no JVM in there"},
      {{"new", "--jar", "probe.jar", "--jre", "old"}, ", and old is Java 7"},
      {{"new", "--jar", VELOX_PROBE_JAR, "--main", "probe.Probe$Failing"},
       "the start class probe.Probe$Failing has no static method main(String[])"},
      {{"new:1", "--jar", "probe.jar"}, "cannot hold a folder with a colon in its name"},
      {{"new", "--jar", "probe.jar", "--wrapper", "missing"}, "cannot read missing: No such file"},
      {{"new", "--jar", "probe.jar", "--wrapper", "/bin/true"}, "is not the wrapper"},
      {{"new", "--name", "x", "--wrapper", "/bin/true", "--", javaProgram(), "-cp", VELOX_PROBE_JAR,
        "probe.Probe"},
       "is not the wrapper"},
      {{"old/new", "--jar", "probe.jar", "--jre", "old"}, "is in the runtime"},
      {{"new", "--jar", "probe.jar", "--jre", "linked"}, "the JVM of linked is outside of it"},
      {{"there", "--jar", "probe.jar"}, "there exists already; --force writes into it"},
  };
  for (const Case& row : cases) {
    const Outcome outcome = kvfNew(row.arguments);
    EXPECT_EQ(outcome.status, 2) << row.message;
    EXPECT_TRUE(outcome.has("kvf: ") && outcome.has(row.message)) << outcome.out;
    EXPECT_FALSE(fs::exists(sandbox_.path("new"))) << row.message;
    EXPECT_FALSE(fs::exists(sandbox_.path("old/new"))) << row.message;
  }
  EXPECT_EQ(
      kvfNew({"heir", "--jar", VELOX_PROBE_JAR, "--main", "probe.Heir", "--name", "x"}).status, 0);
  EXPECT_EQ(kvfNew({"there", "--jar", "probe.jar", "--force"}).status, 0);
  EXPECT_EQ(kvfNew({"there", "--jar", "probe.jar", "--force"}).status, 0);
  EXPECT_EQ(sandbox_.read("there/file"), "mine");
}

TEST_F(New, SeveralJarsAndTheOnlyClassWithAMain) {
  jar("a.jar", "Manifest-Version: 1.0\n", false);
  jar("b-2.jar", "Manifest-Version: 1.0\n");
  const Outcome outcome = kvfNew({"made", "--jar", "a.jar", "--jar", "b-2.jar"});
  EXPECT_TRUE(outcome.status == 0 && outcome.has("probe.Probe is started, the only class with a "
                                                 "main method"));
  EXPECT_TRUE(sandbox_.run({"made/bin/a"}, withJvm)
                  .has("path[" + sandbox_.path("made/lib/a.jar") + ":" +
                       sandbox_.path("made/lib/b-2.jar") + "]"));
}

TEST_F(New, AFolderOfWhatJavaStarts) {
  const Outcome outcome =
      kvfNew({"made", "--name", "acme", "--", "PROBE=x y", javaProgram(), "-cp", VELOX_PROBE_JAR,
              "-Dprobe.value=5%", "-Ddb.password=hidden1", "probe.Probe", "--first", "a b"});
  EXPECT_TRUE(outcome.status == 0 && outcome.has("passwords and the like are in acme.secrets.kvf"));
  EXPECT_TRUE(sandbox_.run({"made/bin/acme", "--more", ""}, withJvm)
                  .out.starts_with("arg[--first]\narg[a b]\narg[--more]\narg[]\n"
                                   "property[5%]\nenv[x y]\npath[" VELOX_PROBE_JAR "]"));
  EXPECT_EQ(fs::status(sandbox_.path("made/acme.secrets.kvf")).permissions(), fs::perms(0600));
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "check", "made"}, withJvm), (Outcome{0, ""}));
}

TEST_F(New, TheUnitNamesTheUserOfWhatItComesFrom) {
  sandbox_.write("old.service", "[Service]\nUser=nobody\nExecStart=" + javaProgram() +
                                    " -Ddb.password=hidden -cp " VELOX_PROBE_JAR " probe.Probe\n");
  ASSERT_EQ(kvfNew({"made", "--name", "acme", "--unit", sandbox_.path("old.service")}).status, 0);
  EXPECT_NE(sandbox_.read("made/acme.service").find("\nUser=nobody\n"), std::string::npos);
  if (::geteuid() != 0) return;
  struct stat status = {};
  ::stat(sandbox_.path("made/acme.secrets.kvf").c_str(), &status);
  EXPECT_EQ(status.st_uid, ::getpwnam("nobody")->pw_uid);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(New, MoreArchivesThanOneValueMayReferTo) {
  jar("app.jar", "Main-Class: probe.Probe\n");
  sandbox_.write("lib/README", "no archive\n");
  for (int number = 0; number < 250; ++number)
    jar("lib/" + std::to_string(number) + ".jar", "", false);
  ASSERT_EQ(kvfNew({"made", "--jar", "app.jar", "--lib", "lib"}).status, 0);
  EXPECT_FALSE(fs::exists(sandbox_.path("made/lib/README")));
  const Outcome outcome = sandbox_.run({"made/bin/app"}, withJvm);
  EXPECT_TRUE(outcome.has(":" + sandbox_.path("made/lib/99.jar") + "]\n")) << outcome.out;
}

TEST(NewApplication, NamesOfArchives) {
  EXPECT_EQ(nameForArchive("/x/acme.jar"), "acme");
  EXPECT_EQ(nameForArchive("acme-tool-1.2-SNAPSHOT.jar"), "acme-tool");
  EXPECT_EQ(nameForArchive("-1.jar"), "-1");
  EXPECT_TRUE(isApplicationName("acme_2.x-y"));
  for (const char* name : {"", ".x", "-x", "a b", "a/b", "wrapper"})
    EXPECT_FALSE(isApplicationName(name)) << name;
}

TEST(NewApplication, TheUnitQuotesItsPath) {
  ApplicationFolder folder;
  folder.name = "acme";
  const std::string unit = serviceUnit(folder, "/a b/50%\"\n");
  EXPECT_NE(unit.find("ExecStart=\"/a b/50%%\\\"\\n/bin/acme\"\n"), std::string::npos) << unit;
}

TEST_F(New, AStartScriptIsCheckedWithTheFilesThatItMakes) {
  jar("probe.jar", "Main-Class: probe.Probe\n");
  ASSERT_EQ(kvfNew({"made", "--jar", "probe.jar"}).status, 0);
  const Texts rows[] = {
      {},
      {"plain", "a b", ""},
      {"say \"hi\"", "x"},
      {"100%", "", "say \"hi\"", "%HOME%"},
      {"\"", "100%", "@@#@@"},
      // Those with a dash at the start need a file.
      {"say \"hi\"", "--run", "100%"},
  };
  for (const Texts& arguments : rows) {
    Texts line = {VELOX_KVF, "check", "--", "made/bin/probe"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(sandbox_.run(line, withJvm), (Outcome{0, ""}));
    line.erase(line.begin(), line.begin() + 3);
    EXPECT_TRUE(sandbox_.run(line, withJvm).out.starts_with(printed(arguments)));
  }
}

TEST_F(New, TheUnitIsSoundAndItsCheckFindsWhatIsNot) {
  jar("probe.jar", "Main-Class: probe.Probe\nAdd-Opens: java.base/java.lang\n");
  ASSERT_EQ(kvfNew({"a b", "--jar", "probe.jar"}).status, 0);
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "check", "a b", "a b/probe.service"}, withJvm),
            (Outcome{0, ""}));

  const std::string unit = sandbox_.read("a b/probe.service");
  const std::string mark = "ExecStartPre=/bin/sh -c '";
  const std::size_t at = unit.find(mark) + mark.size();
  std::string command = unit.substr(at, unit.find('\'', at) - at);
  command.replace(command.find("$$"), 2, "$");
  const auto checked = [&](const std::string& path) {
    Start start = withJvm;
    start.environment["PATH"] = path;
    return sandbox_.run({"/bin/sh", "-c", command, sandbox_.path("a b/bin/probe")}, start);
  };
  const std::string here = fs::path(VELOX_KVF).parent_path().string() + ":/usr/bin:/bin";
  EXPECT_EQ(checked(here), (Outcome{0, ""}));
  sandbox_.write("a b/probe.kvf", sandbox_.read("a b/probe.kvf") + "java.start.class=No\n");
  EXPECT_EQ(checked(here).status, 1);
  EXPECT_EQ(checked("/nowhere"), (Outcome{0, ""}));
}

TEST(ApplicationTexts, NothingIsLeftToFillIn) {
  ApplicationFolder folder;
  folder.name = "a-b";
  folder.jvmLibrary = "/jvm/libjvm.so";
  for (const char* user : {"", "acme", "50%"}) {
    folder.user = user;
    const std::string unit = serviceUnit(folder, "/opt/a-b");
    EXPECT_EQ(unit.find('@'), std::string::npos) << unit;
    EXPECT_NE(unit.find("\nDescription=a-b\n"), std::string::npos) << unit;
    EXPECT_NE(unit.find(folder.user.empty()    ? "\n#User=a-b\n"
                        : folder.user == "50%" ? "\nUser=50%%\n"
                                               : "\nUser=acme\n"),
              std::string::npos)
        << unit;
  }
  const std::string rule = temporaryFilesRule(folder);
  EXPECT_NE(rule.find("\ne /var/log/a-b-crash - "), std::string::npos) << rule;
  EXPECT_EQ(rule.find('@'), std::string::npos) << rule;
  const std::string script = startScript(folder);
  for (const char* place : {"@NAME@", "@VARIABLE@", "@LIMIT@"})
    EXPECT_EQ(script.find(place), std::string::npos) << script;
}

TEST(ApplicationTexts, AJvmOfTheMachineStaysWhereItIsAndAShippedOneMoves) {
  ApplicationFolder folder;
  folder.name = "a-b";
  folder.release = 17;
  folder.jvmLibrary = "/opt/50% j/libjvm.so";
  EXPECT_NE(propertiesFile(folder).find("`kvf jvm --line 17..`"), std::string::npos);
  EXPECT_NE(propertiesFile(folder).find("\njava.library=/opt/50\\\\% j/libjvm.so\n"),
            std::string::npos);
  folder.jvmLibrary = "runtime/libjvm.so";
  EXPECT_NE(propertiesFile(folder).find("\njava.library=%kvf.file.dir%/runtime/libjvm.so\n"),
            std::string::npos);
  EXPECT_NE(propertiesFile(folder).find("\nA_B_ARGS=\napplication.args=%A_B_ARGS%\n"),
            std::string::npos);
}

}  // namespace
