#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/ZipFile.h"
#include "kvf/formats/Archive.h"
#include "kvf/formats/Manifest.h"
#include "kvf/import/ArgumentFile.h"
#include "kvf/import/ImportedFile.h"
#include "kvf/import/JavaCommandLine.h"
#include "kvf/launch/Inspector.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

// --- every text comes back from the launcher's own reader ------------------------------------

class OddTexts {
 public:
  std::string next(bool withQuotes) {
    static constexpr std::string_view pieces[] = {
        "%", "\\", " ", "=",    ":",      "#",   "!",     "\t", "\n", "\r",
        "a", "-",  "$", "é",    "%HOME%", "\\%", "${x}",  "--", "'",  "\xff",
        "n", "t",  ",", "\\\\", "@",      "%%",  "@@#@@", "  ", "\"", "\"\""};
    std::string text;
    for (std::size_t count = random_() % 6; count > 0; --count)
      text += pieces[random_() % (std::size(pieces) - (withQuotes ? 0 : 2))];
    return text;
  }

 private:
  std::mt19937 random_{1};
};

bool isIn(const std::vector<std::string>& list, const std::string& text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

TEST(ImportedFile, EveryTextComesBackFromTheLauncher) {
  OddTexts texts;
  std::size_t carried = 0;
  for (int round = 0; round < 3000; ++round) {
    JavaStart start;
    start.origin = "x\\";
    start.directory = "/" + texts.next(true);
    start.jvm = Jvm{};
    start.jvm->library = jvmLibrary();
    JavaCommandLine line;
    line.what = {"a.b.C", "w"};
    line.classPath = SourcedWord{texts.next(true), "w"};
    // The order in which operands are evaluated is the compiler's.
    const std::string name = texts.next(false);
    const std::string property = "-Dx" + name + "y=" + texts.next(true);
    const std::string secret = "-Dmy.password=" + texts.next(true);
    const std::string option = "-XX:OnError=" + texts.next(round % 2 == 0);
    line.options = {{property, "w"}, {secret, "w"}, {option, "w"}, {"-Xint", "w"}};
    const std::string variable = texts.next(true);
    start.variables = {{"ODD", variable}};
    Texts arguments;
    for (int i = 0; i < 4; ++i) arguments.push_back(texts.next(round % 3 == 0));
    if (round % 5 == 0) arguments[1] = "--token";
    if (round % 10 == 0) arguments[2].insert(0, 1, '"');
    for (const std::string& argument : arguments) line.arguments.push_back({argument, "w"});

    const ImportedFile imported =
        importedFile(start, line, {round % 2 == 0 ? "/secrets.kvf" : "", "", ""});
    if (!imported.losses.empty()) continue;
    ++carried;
    GivenTexts given = {{"/app.kvf", imported.text}};
    if (!imported.secrets.empty()) given["/secrets.kvf"] = imported.secrets;
    const Inspection seen = inspectFile("/app.kvf", {}, given);
    SCOPED_TRACE(imported.text + imported.secrets);
    ASSERT_TRUE(seen.failures().empty());
    // What the JVM takes for a property ends at the first "=".
    ASSERT_TRUE(isIn(seen.plan.options, property)) << property;
    ASSERT_TRUE(isIn(seen.plan.options, secret)) << secret;
    ASSERT_TRUE(isIn(seen.plan.options, option)) << option;
    ASSERT_TRUE(isIn(seen.plan.options, "-Xint"));
    ASSERT_TRUE(isIn(seen.plan.options, "-Djava.class.path=" + line.classPath->text));
    ASSERT_EQ(seen.plan.arguments, arguments);
    ASSERT_EQ(seen.plan.exported.at("ODD"), variable);
    ASSERT_EQ(seen.valueOf("application.start.dir"), start.directory);
  }
  EXPECT_GT(carried, 1500U);
}

// --- the same as java ------------------------------------------------------------------------

class Import : public testing::Test {
 protected:
  Import() {
    sandbox_.write("lib/README", "");
    fs::copy_file(VELOX_PROBE_JAR, sandbox_.path("lib/probe.jar"));
    writeArchive(sandbox_, "app.jar",
                 {{manifestEntry,
                   "Main-Class: probe.Probe\nClass-Path: lib/probe.jar\n"
                   "Add-Opens: java.base/java.lang\n"}});
    start_.environment["PATH"] = fs::path(javaProgram()).parent_path();
    start_.environment.insert(jvmInside);
  }
  Outcome import(Texts arguments) {
    arguments.insert(arguments.begin(), {VELOX_KVF, "import"});
    Start start = start_;
    start.looksAtProcesses = true;
    return sandbox_.run(arguments, start);
  }
  /// Imports into app.kvf.
  Outcome importJava(Texts words) {
    fs::remove(sandbox_.path("app.kvf"));
    words.insert(words.begin(), {"--write", "app.kvf", "--", "java"});
    return import(words);
  }
  Outcome wrapper(const Texts& arguments = {}) {
    Texts line = {VELOX_WRAPPER, "--propFile", sandbox_.path("app.kvf")};
    line.insert(line.end(), arguments.begin(), arguments.end());
    return sandbox_.run(line, start_);
  }
  static std::string withoutProcess(const Outcome& outcome) {
    const std::size_t at = outcome.out.find("pid[");
    return outcome.out.substr(0, at) + outcome.out.substr(outcome.out.find('\n', at));
  }

  Sandbox sandbox_;
  Start start_;
};

TEST_F(Import, RunsAsJavaDoes) {
  sandbox_.write("words",
                 "-Dprobe.value='a b' # not this\n-cp \"lib/p\\\n   robe.jar\" "
                 "probe.Probe 'x \\' y' @no\n");
  // An archive of which its name and its manifest make a module.
  fs::create_directory(sandbox_.path("mods"));
  std::map<std::string, std::string> entries = {
      {manifestEntry, "Manifest-Version: 1.0\nMain-Class: probe.Probe\n"}};
  const Archive probe(VELOX_PROBE_JAR);
  for (std::size_t i = 0; i < probe.size(); ++i)
    if (const std::string name(probe.nameAt(i)); name.ends_with(".class"))
      entries[name] = probe.read(name).value();
  writeArchive(sandbox_, "mods/pro-be-1.jar", entries);
  struct Row {
    Texts words;
    unsigned firstRelease = 8;
    std::map<std::string, std::string> environment = {};
  };
  const Row rows[] = {
      {{"-cp", "lib/probe.jar", "-Dprobe.value=a \"b\" %c% \\ ${d}\n ", "probe.Probe", "", "a b",
        "%HOME%", "é", "--x"}},
      {{"-classpath", "lib/*:.", "-Xmx64m", "-esa", "-XX:+UseSerialGC", "probe.Probe"}},
      {{"-jar", "-Dprobe.do=exit:7", "app.jar", "--say=\"hi\"", "--", "tail "}},
      {{"-cp", "nowhere", "-Dprobe.do=throw", "-jar", "app.jar"}},
      {{"probe.Probe", "x"}, 8, {{"CLASSPATH", "lib/probe.jar"}}},
      // The last class path counts, also the one that nobody writes so.
      {{"-cp", "gone", "-Djava.class.path=lib/probe.jar", "-mx32m", "probe.Probe"}},
      {{"-Djava.class.path=lib/probe.jar", "-ea", "-esa", "-dsa", "-da:x...", "probe.Probe"},
       8,
       {{"CLASSPATH", "gone"}}},
      {{"-cp", ":lib/probe.jar::", "-Dprobe.value", "-Dprobe.value=1", "probe.Probe"}},
      {{"-cp", "lib/probe.jar", "-Dprobe.value=1", "-Dprobe.value", "-D=x", "-Dprobe value=a",
        "probe.Probe"}},
      {{"-cp", "lib/*:lib/../lib/*", "-Dprobe.value==\\\nb\r\tc\\", "probe.Probe", "=a", ":a", "#a",
        "!a", " a", "a ", "x\ny\\"}},
      {{"-XX:+UseSerialGC", "-XX:MaxHeapSize=32m", "-Xmx64m", "-Xmx48m", "-cp", "lib/probe.jar",
        "-Dprobe.value=%c%d%", "probe.Probe", "%c%", "%%", "\1"}},
      {{"-XX:OnError=echo %p 'x y'", "-XX:+IgnoreUnrecognizedVMOptions", "-XX:+Foo", "-cp",
        "lib/probe.jar", "-Dsun.java.command=x", "probe.Heir"}},
      {{"-cp", "lib/probe.jar", "-Dprobe.do=exit:3", "probe.Probe", "-jar", "-cp", "x", "--propVar",
        "a=b", "--run", "-h", std::string(5000, 'x')}},
      {{"@words", "@no"}, 9},
      {{"--class-path=lib/probe.jar", "--add-opens", "java.base/java.lang=ALL-UNNAMED",
        "-Dprobe.value=1", "-Dprobe.value=2", "probe/Probe"},
       9},
      {{"-p", "mods", "-m", "pro.be", "x"}, 9},
      {{"probe.Probe"}, 9, {{"JDK_JAVA_OPTIONS", "-cp 'lib/probe.jar' -Dprobe.value=\"x y\"z"}}},
  };
  for (const Row& row : rows) {
    if (javaRelease() < row.firstRelease) continue;
    Start here = start_;
    here.environment.insert(row.environment.begin(), row.environment.end());
    std::swap(here, start_);
    const Outcome imported = importJava(row.words);
    std::swap(here, start_);
    SCOPED_TRACE(sandbox_.read("app.kvf") + imported.out);
    EXPECT_EQ(imported.status, 0);
    Texts line = row.words;
    line.insert(line.begin(), "java");
    Outcome java = sandbox_.run(line, here);
    // What the program java says of a variable, and from Java 25 on of an option.
    for (const char* remark : {"NOTE: ", "Warning: -mx "}) {
      if (const std::size_t at = java.out.find(remark); at != std::string::npos)
        java.out.erase(at, java.out.find('\n', at) + 1 - at);
    }
    const Outcome launched = wrapper();
    EXPECT_EQ(launched.status, java.status);
    if (java.status != 1) {
      EXPECT_EQ(withoutProcess(launched), withoutProcess(java));
    }
  }
}

TEST_F(Import, WhatLooksOddIsNotReportedAndNotMended) {
  start_.environment["X_VAL"] = "gone";
  const Outcome imported =
      import({"--write", "app.kvf", "--", "X_VAL='b c'", "X_AT=1 # one", "java", "-cp",
              "lib/probe.jar", "-Da=\"q\"", "-Db=30 # seconds", "-Dc=/a/b # c", "-Dd='x'\\",
              "-De=\"a\tb\"", "probe.Probe", "\"yes\"", "30 # s"});
  EXPECT_EQ(imported.status, 0) << imported.out;
  const std::string text = sandbox_.read("app.kvf");
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "check", "--fix", "app.kvf"}, start_), (Outcome{0, ""}))
      << text;
  EXPECT_EQ(sandbox_.read("app.kvf"), text);
}

TEST_F(Import, SaysWhatCannotBeCarriedAndWhatIsNoStart) {
  sandbox_.write("A.java", "");
  sandbox_.write("script", "#!/bin/sh\n", true);
  writeArchive(sandbox_, "none.jar", {{manifestEntry, "Manifest-Version: 1.0\n"}});
  writeArchive(sandbox_, "agent.jar",
               {{manifestEntry, "Main-Class: A\nLauncher-Agent-Class: A\n"}});
  writeArchive(sandbox_, "lib/instance.jar",
               {{"probe/Outcast.class",
                 Archive(VELOX_PROBE_JAR).read("probe/Probe$Failing.class").value()}});
  struct Row {
    Texts words;
    int status;
    std::string message;
  };
  const Row rows[] = {
      {{"-splash:x.png", "-jar", "app.jar"},
       1,
       "not carried over: -splash:x.png (word 1): only java shows"},
      {{"-XX:OnError=say \"x\"", "-jar", "app.jar"},
       1,
       "not carried over: -XX:OnError (word 1): the line of"},
      {{"-jar", "agent.jar"}, 1, "not carried over: Launcher-Agent-Class"},
      {{"-Dx=%@@#@@", "-jar", "app.jar"},
       1,
       "java.property.x: no value can hold both a percent sign and"},
      {{"-cp", "lib/probe.jar", "probe.Probe$Failing"}, 1, "has no static method main(String[])"},
      {{"-version"}, 2, "the command line has \"-version\" (word 1), which prints something"},
      {{"-jar", "none.jar"}, 2, "none.jar names no start class in its manifest"},
      {{"-jar", "missing.jar"}, 2, "missing.jar is not a readable archive"},
      {{"-jar", "A.java"}, 2, "A.java is not a readable archive"},
      {{"A.java"}, 2, "java compiles \"A.java\" at every start"},
      {{"--source", "17", "x"}, 2, "compiles \"its source file\" at every start"},
      {{"-cp"}, 2, "\"-cp\" (word 1) needs a value"},
      {{"-m", "a.b"}, 2, "is no module of the module path or of the JDK's folder jmods: give both"},
      {{"-p", "none.jar", "-m", "none"}, 2, "names no start class, so java refuses it"},
      {{}, 2, "names no start class"},
      {{""}, 2, "the start class or archive of the command line is empty (word 1)"},
  };
  for (const Row& row : rows) {
    const Outcome outcome = importJava(row.words);
    EXPECT_TRUE(outcome.status == row.status && outcome.has(row.message)) << outcome.out;
    EXPECT_EQ(fs::exists(sandbox_.path("app.kvf")), row.status != 2) << row.message;
  }
  EXPECT_TRUE(import({"--", "./script"}).has("\"./script\" is not java"));
  EXPECT_TRUE(import({}).has("give one of -- java ..., --pid NUMBER and --unit UNIT"));
  EXPECT_TRUE(import({"--write", "no/x", "--", "java", "-jar", "app.jar"}).has("no/x: No such"));
  Start nowhere = start_;
  nowhere.inChild = [gone = sandbox_.path("gone")] {
    fs::create_directory(gone);
    fs::current_path(gone);
    fs::remove(gone);
  };
  EXPECT_TRUE(sandbox_.run({VELOX_KVF, "import", "--", "java", "A"}, nowhere)
                  .has("working directory has been removed"));
  EXPECT_TRUE(import({"--pid", "999999999"}).has("there is no process 999999999"));
}

TEST_F(Import, SecretsMoveToAFileOfTheOwner) {
  const Texts line = {"--write",
                      "app.kvf",
                      "--secrets",
                      "own.kvf",
                      "--",
                      "PROBE=p%q",
                      "API_TOKEN=tok%en1",
                      "java",
                      "-cp",
                      "lib/probe.jar",
                      "-Ddb.password=hidden1",
                      "-Dprobe.value=jdbc:x?password=hidden2",
                      "probe.Probe",
                      "--password",
                      "hidden3",
                      "--token=hidden4"};
  EXPECT_EQ(import(line).status, 0);
  const std::string text = sandbox_.read("app.kvf");
  EXPECT_EQ(text.find("hidden"), std::string::npos) << text;
  EXPECT_EQ(text.find("tok%"), std::string::npos) << text;
  EXPECT_EQ(fs::status(sandbox_.path("own.kvf")).permissions(), fs::perms(0600));
  const Outcome outcome = wrapper();
  EXPECT_TRUE(
      outcome.has("arg[--password]\narg[hidden3]\narg[--token=hidden4]\n"
                  "property[jdbc:x?password=hidden2]\nenv[p%q]"));
  // The file goes to standard output, and names the other one from anywhere.
  fs::remove(sandbox_.path("own.kvf"));
  const Outcome printed = import({line.begin() + 2, line.end()});
  EXPECT_TRUE(printed.status == 0 &&
              printed.has("velox.include.kvf.secrets=" + sandbox_.path("own.kvf") + "\n"));
  EXPECT_EQ(printed.out.find("hidden"), std::string::npos) << printed.out;
  EXPECT_TRUE(printed.has("# The environment.\n"));
  fs::remove(sandbox_.path("own.kvf"));
  const Outcome bare = import({"--secrets", "own.kvf", "--", "TOKEN=hidden1", "java", "-cp",
                               "lib/probe.jar", "-Ddb.password=hidden2", "probe.Probe"});
  EXPECT_FALSE(bare.has("# The environment.\n") || bare.has("# System properties.\n"));
  // Neither file is replaced, and neither is written alone.
  fs::remove(sandbox_.path("own.kvf"));
  EXPECT_TRUE(import(line).has("app.kvf: File exists"));
  EXPECT_FALSE(fs::exists(sandbox_.path("own.kvf")));
}

TEST_F(Import, ASecretThatNoReferenceCanBringStaysWhereItIs) {
  const Outcome outcome = import({"--secrets", "own.kvf", "--", "java", "-cp", "lib/probe.jar",
                                  "probe.Probe", "--password", "hid@@#@@den", "--token=hidden"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.has("kvf: not carried over: a secret with @@#@@ in it is not moved"));
  EXPECT_TRUE(outcome.has("=hid@@#@@den\n"));
  EXPECT_FALSE(outcome.has("=--token=hidden\n"));
  EXPECT_NE(sandbox_.read("own.kvf").find("hidden\n"), std::string::npos);
}

TEST_F(Import, EachPropertySaysWhereItComesFromOnce) {
  sandbox_.write("words", "-Dc=1 -Dd=2\n");
  const Outcome outcome =
      import({"--", "java", "-cp", "lib/probe.jar", "-Da=1", "-Db=2", "-Da=3", "probe.Probe"});
  EXPECT_TRUE(
      outcome.has("\n# System properties.\n# word 5\njava.property.a=3\n# word 4\n"
                  "java.property.b=2\n\n"));
  if (javaRelease() < 9) return;
  EXPECT_TRUE(import({"--", "java", "@words", "-De=1", "-cp", "lib/probe.jar", "probe.Probe"})
                  .has("\n# System properties.\n# words:1\njava.property.c=1\njava.property.d=2\n"
                       "# word 2\njava.property.e=1\n\n"));
}

TEST_F(Import, TheProgramEnvTakesAnyName) {
  const Texts java = {"java", "-cp", "lib/probe.jar", "probe.Probe"};
  const auto after = [&](Texts words) {
    words.insert(words.end(), java.begin(), java.end());
    words.insert(words.begin(), {"--write", "app.kvf", "--"});
    fs::remove(sandbox_.path("app.kvf"));
    return import(words);
  };
  EXPECT_EQ(after({"PROBE=a", "/usr/bin/env", "server-port=8081", "my list[0]:x=%1"}).status, 0);
  const Outcome found = sandbox_.run({VELOX_KVF, "check", "app.kvf"}, start_);
  EXPECT_EQ(found, (Outcome{0, ""}));
  // A script in the place of java shows what it gets; other shells drop such names.
  sandbox_.write("show", "#!/bin/bash\nexec /usr/bin/env\n", true);
  sandbox_.write("app.kvf", sandbox_.read("app.kvf") + "java.path=" + sandbox_.path("show") + "\n");
  const Outcome script = wrapper({"--cmdlineJava"});
  for (const char* variable : {"PROBE=a\n", "\nserver-port=8081\n", "\nmy list[0]:x=%1\n"})
    EXPECT_TRUE(("\n" + script.out).find(variable) != std::string::npos) << script.out;
  EXPECT_TRUE(after({"server-port=8081"}).has("\"server-port=8081\" is not java"));
}

TEST_F(Import, AProcessWhoseJvmWasUpdatedGetsTheNewOne) {
  if (javaRelease() < 12) GTEST_SKIP() << "its JDK has other folders";
  const fs::path home = javaHome();
  const fs::path jre = sandbox_.path("jre");
  for (const char* folder : {"bin", "lib/server"}) fs::create_directories(jre / folder);
  const std::string library = "lib/server/libjvm.so";
  for (const auto& file : {std::string("bin/java"), std::string("lib/libjli.so"), library})
    fs::copy_file(home / file, jre / file);
  for (const auto& entry : fs::directory_iterator(home / "lib")) {
    if (!fs::exists(jre / "lib" / entry.path().filename()))
      fs::create_symlink(entry.path(), jre / "lib" / entry.path().filename());
  }
  fs::create_directory_symlink(home / "conf", jre / "conf");
  Start start = start_;
  start.inChild = [] {
    if (::freopen("out.log", "w", stderr) == nullptr) std::_Exit(1);
  };
  Child java = sandbox_.start(
      {(jre / "bin/java").native(), "-cp", VELOX_LIFECYCLE_JAR, "lifecycle.Lifecycle", "wait"},
      start);
  if (!java.prints("ready")) GTEST_SKIP() << "the JDK does not start from another place";
  const Texts process = {"--pid", std::to_string(java.id())};
  const std::string note = "# The JVM was updated while the process runs";
  Outcome outcome = import(process);
  if (outcome.has("sees other files"))
    GTEST_SKIP() << "in a chroot, where programs of a sandbox do";
  EXPECT_FALSE(outcome.has(note));
  EXPECT_TRUE(outcome.has("# Its standard error goes to " + sandbox_.path("out.log") + ".\n"));
  EXPECT_FALSE(outcome.has("# Its standard output goes to "));
  fs::remove(jre / library);
  fs::copy_file(home / library, jre / library);
  outcome = import(process);
  EXPECT_TRUE(outcome.has(note));
  EXPECT_TRUE(outcome.has("\njava.library=" + (jre / library).native() + "\n"));
}

TEST_F(Import, ARunningProcessAndAUnit) {
  Start environment = start_;
  environment.environment["ACME_HOME"] = "/opt/50%";
  environment.environment["SHLVL"] = "1";
  environment.environment["spring.profiles.active"] = "prod";
  environment.environment["BASH_FUNC_x%%"] = "() { :; }";
  Child java = sandbox_.start(
      {"java", "-cp", VELOX_LIFECYCLE_JAR, "lifecycle.Lifecycle", "wait", ""}, environment);
  ASSERT_TRUE(java.prints("ready"));
  const Outcome imported = import({"--pid", std::to_string(java.id())});
  if (imported.has("sees other files"))
    GTEST_SKIP() << "in a chroot, where programs of a sandbox do";
  EXPECT_EQ(imported.status, 0) << imported.out;
  for (const std::string text :
       {"\njava.start.class=lifecycle.Lifecycle\n", "\napplication.args=wait \"\"\n",
        "\nvelox.env.ACME_HOME=/opt/50\\\\\\\\%\n",
        "\n# kvf: allow environment-name\nvelox.env.spring.profiles.active=prod\n", " SHLVL\n",
        "\njava.library="}) {
    EXPECT_TRUE(imported.has(text));
  }
  EXPECT_FALSE(imported.has("velox.env.BASH_FUNC_x"));
  EXPECT_TRUE(imported.has("\napplication.start.dir=" + sandbox_.path()));
  EXPECT_TRUE(import({"--pid", "self"}).status == 2);

  sandbox_.write("acme.service", "[Service]\nEnvironment=PROBE=u LANG=C.UTF-8\nWorkingDirectory=" +
                                     sandbox_.path() + "\nExecStart=" + javaProgram() +
                                     " -cp lib/probe.jar \\\n  probe.Probe $PROBE '$$x'\n");
  EXPECT_EQ(import({"--write", "app.kvf", "--unit", sandbox_.path("acme.service")}).status, 0);
  EXPECT_NE(sandbox_.read("app.kvf").find("(acme.service:5)"), std::string::npos)
      << sandbox_.read("app.kvf");
  EXPECT_TRUE(wrapper().has("arg[u]\narg[$x]\nproperty[null]\nenv[u]\n"));
}

TEST_F(Import, WhatCannotBeReadOrIsAnotherFileThereIsSaid) {
  sandbox_.write("acme.env", "PROBE=u\n");
  sandbox_.write("acme.service",
                 "[Service]\nUser=nobody\nEnvironmentFile=" + sandbox_.path("acme.env") +
                     "\nExecStart=" + javaProgram() + " -cp lib/probe.jar probe.Probe\n");
  sandbox_.write("acme.service.d/more.conf", "[Service]\nEnvironment=MORE=1\n");
  const Texts unit = {"--unit", sandbox_.path("acme.service")};
  EXPECT_EQ(import(unit).status, 0);
  start_.asNobody = true;
  fs::permissions(sandbox_.path("acme.env"), fs::perms::none);
  Outcome outcome = import(unit);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.has("variables of the unit: cannot read " + sandbox_.path("acme.env")));
  EXPECT_TRUE(outcome.has("\nvelox.env.MORE=1\n"));
  fs::permissions(sandbox_.path("acme.service.d/more.conf"), fs::perms::none);
  EXPECT_TRUE(import(unit).has("more.conf: Permission denied") && import(unit).status == 2);
  start_.asNobody = false;

  Start elsewhere = start_;
  elsewhere.inChild = [] {
    const bool isMounted = ::unshare(CLONE_NEWNS) == 0 &&
                           ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                           ::mount("app.jar", "lib/probe.jar", nullptr, MS_BIND, nullptr) == 0;
    if (!isMounted) std::_Exit(1);
  };
  Child java = sandbox_.start(
      {"java", "-cp", VELOX_LIFECYCLE_JAR ":lib/probe.jar", "lifecycle.Lifecycle", "wait"},
      elsewhere);
  if (!java.prints("ready")) GTEST_SKIP() << "the system allows no mounts";
  outcome = import({"--pid", std::to_string(java.id())});
  if (outcome.has("sees other files")) GTEST_SKIP() << "in a chroot, where all of them do";
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.has("not carried over: " + sandbox_.path("lib/probe.jar") +
                          ": for the process, which has mounts of its own"));
  EXPECT_FALSE(outcome.has(VELOX_LIFECYCLE_JAR ": for"));
}

TEST(ArgumentFile, WordsAsJavaHasThem) {
  struct Row {
    std::string text;
    Texts words;
  };
  const Row rows[] = {
      {"a b\t\"c d\"'e'\ff", {"a", "b", "c de", "f"}},
      {"a#b c\nd \"e\"#f\ng", {"d", "eg"}},
      {"\"a\\\n \t b\\tc\\q\" \"d\ne\"", {"ab\tcq", "d", "e"}},
      {"a\\n 'b", {"a\\n", "b"}},
      {"x \"\" \"\"", {"x", ""}},
      {"\"a\\", {}},
  };
  for (const Row& row : rows) {
    Texts words;
    for (const ArgumentFileWord& word : parseArgumentFile(row.text)) words.push_back(word.text);
    EXPECT_EQ(words, row.words) << row.text;
  }
  EXPECT_EQ(splitOptionsVariable("-Dx='a \"b'\\c  \"\"\nd"), (Texts{"-Dx=a \"b\\c", "", "d"}));
  EXPECT_FALSE(splitOptionsVariable("'a"));
}

}  // namespace
