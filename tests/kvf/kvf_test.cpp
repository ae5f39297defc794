#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "e2e/WrapperTest.h"
#include "support/JsonMembers.h"

namespace fs = std::filesystem;

namespace {

/// Runs the built program beside the launcher.
class KvfTest : public WrapperTest {
 protected:
  [[nodiscard]] Outcome run(Texts arguments, const Start& start = {}) const {
    arguments.insert(arguments.begin(), VELOX_KVF);
    return sandbox_.run(arguments, start);
  }
  [[nodiscard]] nlohmann::json json(const Texts& arguments) const {
    return nlohmann::json::parse(run(arguments).out);
  }
};

const std::string missing =
    "app.kvf:5: error: no \"=\", \":\" or blank ends the key, so the launcher silently drops the "
    "line: "
    "write key=value, or begin it with # to make it a comment [no-separator]\n";

TEST_F(KvfTest, TheStatusOfCheckShowsWhetherSomethingIsWrong) {
  kvf(probe() + "\nword\n");
  EXPECT_EQ(run({"check", "app.kvf"}), (Outcome{1, missing}));
  kvf(probe());
  EXPECT_EQ(run({"check", "app.kvf"}), (Outcome{0, ""}));
  EXPECT_EQ(run({"check", "gone.kvf"}), (Outcome{2, "kvf: \"gone.kvf\" cannot be read\n"}));
  EXPECT_EQ(run({"check"}).status, 2);
  EXPECT_EQ(run({"check", "--disable", "gone", "app.kvf"}).status, 2);
  EXPECT_EQ(run({"check", "app.kvf", "--", "wrapper"}),
            (Outcome{2, "kvf: give either files or a command line, not both\n"}));
}

TEST_F(KvfTest, OutputThatCannotBeWrittenIsAFailure) {
  kvf(probe() + "\nword\n");
  for (const char* command : {"check app.kvf", "explain app.kvf", "rules", "keys", "jvm"}) {
    const std::string line = VELOX_KVF + std::string(" ") + command + " >/dev/full";
    EXPECT_EQ(sandbox_.run({"sh", "-c", line}),
              (Outcome{2, "kvf: standard output cannot be written\n"}))
        << command;
  }
}

TEST_F(KvfTest, NoValueIsEmpty) {
  kvf(probe());
  struct Row {
    Texts arguments;
    const char* complaint;
  };
  const Row rows[] = {
      {{""}, "an argument is empty"},
      {{"check", ""}, "an argument is empty"},
      {{"check", "--jvm", ""}, "an argument is empty"},
      {{"check", "--root", "", "app.kvf"}, "the value of --root is empty"},
      // The parser would take the next word.
      {{"check", "--format=", "app.kvf"}, "the value of --format is empty"},
      {{"explain", "--key", "", "app.kvf"}, "the value of --key is empty"},
      {{"jvm", "--line", ""}, "the value of --line is empty"},
      {{"jvm", "--write="}, "the value of --write is empty"},
      {{"import", "--secrets", "", "--", "java", "A"}, "the value of --secrets is empty"},
      {{"new", "made", "--name="}, "the value of --name is empty"},
      {{"cds", "app.kvf", "--until", ""}, "the value of --until is empty"},
      {{"ready", "--pid", "1", "--unix", ""}, "the value of --unix is empty"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(run(row.arguments), (Outcome{2, std::string("kvf: ") + row.complaint + "\n"}));
  EXPECT_EQ(run({"check", "--disable", "no-separator", "app.kvf"}), (Outcome{0, ""}));
}

TEST_F(KvfTest, TheWorkingDirectoryMayHaveBeenRemoved) {
  kvf(probe());
  const auto runThere = [&](const std::string& arguments) {
    return sandbox_.run(
        {"sh", "-c", "mkdir gone && cd gone && rmdir ../gone && exec " VELOX_KVF " " + arguments});
  };
  const Outcome removed = {
      2, "kvf: the working directory has been removed: change into another one\n"};
  EXPECT_EQ(runThere("check " + sandbox_.path("app.kvf")), (Outcome{0, ""}));
  EXPECT_TRUE(runThere("explain " + sandbox_.path("app.kvf")).has("  there is none any more\n"));
  EXPECT_EQ(runThere("check - </dev/null"), removed);
}

TEST_F(KvfTest, CheckTakesACommandLineAsItWouldBeTyped) {
  kvf(probe() + "application.args=%WHO%\n");
  EXPECT_EQ(
      run({"check", "--", "wrapper", "--propfile", "app.kvf"}),
      (Outcome{1,
               "command line:1: error: \"--propfile\" is not a switch (did you mean --propFile?); "
               "the launcher shows its usage, with status 0, and starts nothing "
               "[unknown-switch]\n"}));
  EXPECT_EQ(run({"check", "--", "wrapper", "--propFile", "app.kvf", "--propVar", "WHO=x"}),
            (Outcome{0, ""}));
  EXPECT_EQ(run({"check", "--", "wrapper", "--propFile", "app.kvf", "--propVar", "WHO=x",
                 "--generateScript"}),
            (Outcome{0, ""}));
  EXPECT_EQ(run({"check", "--", "java", "-jar", "x"}).status, 2);
  EXPECT_EQ(run({"check", "--", "nosuch"}).status, 2);
}

TEST_F(KvfTest, CheckTakesFilesFoldersUnitsAndStandardInput) {
  kvf(probe());
  sandbox_.write("all/base.kvf", "acme.home=/x\njava.property.a=%acme.home%\n");
  sandbox_.write("all/deep/app.kvf", "velox.include.kvf=%kvf.file.dir%/../base.kvf\n" + probe());
  sandbox_.write("warning.kvf", probe() + "acme=1\n");
  sandbox_.write("error.kvf", probe() + "\nword\n");
  sandbox_.write("other.service", "[Service]\nExecStart=/bin/true\n");
  sandbox_.write("app.yaml", "---\na: b\n");
  const struct {
    const char* command;
    int status;
    const char* output;
  } rows[] = {
      {"check --severity=error warning.kvf", 0, "warning.kvf:4: warning: "},
      {"check --severity error error.kvf", 1, "error.kvf:5: error: "},
      {"check --color=always error.kvf", 1, "\033[1;31merror\033[0m: "},
      {"check --severity=all app.kvf", 2, "kvf: --severity: "},
      {"check --jsn app.kvf", 2, "(did you mean --json?); see kvf check --help\n"},
      {"check --help", 0, "  --severity LEVEL  "},
      {"chek app.kvf", 2, "(did you mean check?); see kvf --help\n"},
      {"check --disable unit-stp app.kvf", 2, "(did you mean unit-stop?)"},
      {"check all", 0, ""},
      {"check - <error.kvf", 1, "-:5: error: "},
      {"check --stdin-name gone/x.kvf - <error.kvf", 1, "gone/x.kvf:5: error: "},
      {"check - </dev/zero", 1, "has 1 MiB or more"},
      {"check --fix - </dev/zero", 2, "kvf: standard input has 1 MiB or more"},
      {"check - <all", 2, "kvf: cannot read standard input: Is a directory\n"},
      {"check " VELOX_WRAPPER, 2, "is a program or a library, not a properties file\n"},
      {"check " VELOX_PROBE_JAR, 2, "is an archive, not a properties file\n"},
      {"check app.yaml", 2, "is YAML, not a properties file\n"},
      {"check other.service", 2, "does not start the launcher: \"/bin/true\" is not the launcher"},
      {"check gone.service", 2, "kvf: there is no unit \"gone.service\"\n"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = sandbox_.run({"sh", "-c", std::string(VELOX_KVF " ") + row.command});
    EXPECT_EQ(outcome.status, row.status) << row.command << outcome.out;
    EXPECT_NE(outcome.out.find(row.output), std::string::npos) << row.command << outcome.out;
  }
}

TEST_F(KvfTest, AProgramThatCannotBeLookedAtIsCalledSo) {
  sandbox_.write("own/acme", "");
  sandbox_.write("acme.service", "[Service]\nExecStart=" + sandbox_.path("own/acme") + "\n");
  fs::permissions(sandbox_.path("own"), fs::perms::none);
  EXPECT_TRUE(sandbox_.run({VELOX_KVF, "check", "acme.service"}, {.asNobody = true})
                  .has("own/acme\" cannot be read\n"));
  fs::permissions(sandbox_.path("own"), fs::perms::owner_all);
}

TEST_F(KvfTest, OneFileOfAFolderDoesNotEndTheCheckOfTheOthers) {
  sandbox_.write("odd/error.kvf", probe() + "\nword\n");
  sandbox_.write("odd/pipe.kvf", probe() + "\nvelox.include.kvf=%kvf.file.dir%/fifo.kvf\n");
  sandbox_.write("odd/folder.kvf/app.kvf", probe());
  fs::create_symlink("loop.kvf", sandbox_.path("odd/loop.kvf"));
  fs::create_symlink("gone", sandbox_.path("odd/dangling.kvf"));
  fs::create_symlink("acme@host.1:2", sandbox_.path("odd/.#error.kvf"));
  fs::create_symlink("..", sandbox_.path("odd/up"));
  ASSERT_EQ(::mkfifo(sandbox_.path("odd/fifo.kvf").c_str(), 0600), 0);
  const Outcome outcome = run({"check", "odd"});
  EXPECT_EQ(outcome.status, 2);
  for (const char* text :
       {"odd/error.kvf:5: error: ", "kvf: cannot read odd/loop.kvf: Too many levels",
        "kvf: cannot read odd/dangling.kvf: No such file", "kvf: \"odd/fifo.kvf\" is not a file\n"})
    EXPECT_TRUE(outcome.has(text)) << outcome.out;
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 5) << outcome.out;
}

TEST_F(KvfTest, AFindingCanBeAllowed) {
  kvf(probe() + "# Ours. kvf: allow unknown-key, young-generation\nacme=1\n");
  EXPECT_EQ(run({"check", "app.kvf"}), (Outcome{0, ""}));
  kvf(probe() + "# kvf: allow young-generation\nacme=1\n");
  EXPECT_EQ(run({"check", "app.kvf"}).status, 1);
  EXPECT_EQ(run({"check", "--disable", "unknown-key", "app.kvf"}), (Outcome{0, ""}));
}

TEST_F(KvfTest, CheckPrintsJson) {
  kvf(probe() + "\nword\xFF\nacme=\x1B[31m\n");
  const nlohmann::json findings = json({"check", "--json", "app.kvf"});
  EXPECT_EQ(findings["schema"], 1);
  EXPECT_EQ(findings["findings"].size(), 2);
  EXPECT_EQ(findings["findings"][0]["file"], "app.kvf");
  EXPECT_EQ(findings["findings"][0]["line"], 5);
  EXPECT_EQ(findings["findings"][0]["severity"], "error");
  EXPECT_EQ(findings["findings"][0]["rule"], "no-separator");
  EXPECT_EQ(findings["findings"][1]["rule"], "unknown-key");
}

TEST_F(KvfTest, ExplainHidesSecretsAndShowsWhoUsesAKey) {
  kvf(probe() +
      "acme.password=Tr0ub4dor\njava.property.url=db:?user=a&password=%acme.password%\n"
      "application.args=--token geheim --url=x?password=y\n");
  const Outcome hidden = run({"explain", "app.kvf"});
  EXPECT_TRUE(hidden.has("  acme.password = \"***\"  (app.kvf:4)\n      used by app.kvf:5\n"));
  EXPECT_TRUE(hidden.has("\"db:?user=a&password=***\""));
  EXPECT_TRUE(hidden.has("'--url=x?password=***'\n"));
  for (const char* secret : {"Tr0ub4dor", "geheim", "=y"}) EXPECT_FALSE(hidden.has(secret));
  EXPECT_TRUE(run({"explain", "--show-secrets", "app.kvf"}).has("password=Tr0ub4dor"));
  EXPECT_TRUE(run({"explain", "--key", "acme.password", "app.kvf"}).has("used by app.kvf:5\n"));
}

TEST_F(KvfTest, DocumentsHaveTheseMembers) {
  kvf(probe() + "a=1\na=%HOME%\njava.property.x=%a%\nvelox.env.A=1\n" +
      "velox.include.kvf=/gone\njava.class.path=lib/*\n");
  struct Case {
    Texts arguments;
    std::string members;
  };
  const Case cases[] = {
      {{"check", "--json", "app.kvf"},
       "findings findings.column findings.endColumn findings.endLine findings.fatal findings.file "
       "findings.line findings.rule findings.severity findings.text schema"},
      {{"explain", "--json", "app.kvf"},
       "arguments classPath classPath.expanded classPath.expanded.brings classPath.expanded.path "
       "classPath.written command differences directory endsWith endsWith.message endsWith.origin "
       "endsWith.rule environment environment.name environment.value jvm jvm.library jvm.vendor "
       "jvm.version options properties properties.key properties.origin properties.overrode "
       "properties.overrode.origin properties.overrode.value properties.usedBy properties.value "
       "schema"},
      {{"explain", "--json", "--key", "java.property.x", "app.kvf"},
       "chain chain.origin chain.references chain.references.from chain.references.name "
       "chain.references.value chain.used chain.value chain.written key schema usedBy value"},
      {{"jvm", "--json"},
       "jvms jvms.foundBy jvms.home jvms.homes jvms.java jvms.library jvms.release jvms.vendor "
       "jvms.version schema"},
      {{"rules", "--json"},
       "rules rules.example rules.explanation rules.id rules.remedy rules.severity rules.summary "
       "schema"},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(membersOf(json(row.arguments)), row.members) << row.arguments[0];
  }
}

TEST_F(KvfTest, FilesGivenTogetherAreCompared) {
  kvf(probe() + "processID.file.name=" + sandbox_.path("app.pid") + "\n");
  sandbox_.write("other.kvf", sandbox_.read("app.kvf"));
  EXPECT_TRUE(run({"check", "app.kvf", "other.kvf"}).has("[shared-process-id-file]"));
  EXPECT_FALSE(run({"check", "app.kvf", "./app.kvf"}).has("[shared-process-id-file]"));
  EXPECT_FALSE(run({"check", "--disable", "shared-process-id-file", "app.kvf", "other.kvf"})
                   .has("shared-process-id-file"));
}

TEST_F(KvfTest, CheckLooksAtTheGlobalFile) {
  kvf(probe() + "velox.env.A=2\n");
  sandbox_.write("global.kvf", "java.extended.properties=-Xint\nvelox.env.A=1\n");
  const Outcome outcome = run({"check", "app.kvf"});
  EXPECT_TRUE(outcome.has("global.kvf:1: warning: "));
  EXPECT_TRUE(outcome.has("it supplies java.extended.properties"));
  EXPECT_TRUE(outcome.has("global.kvf:2: warning: the environment gets this"));
  fs::remove(sandbox_.path("global.kvf"));
  sandbox_.write("bin/global.kvf", "");
  EXPECT_TRUE(run({"check", "app.kvf"}, {.environment = {{"PATH", sandbox_.path("bin")}}})
                  .has("is in a folder of PATH; it supplies nothing"));
}

TEST_F(KvfTest, CheckSaysWhatAScriptCannotCarry) {
  kvf(probe() + "application.args=$HOME\nvelox.env.A=b c\nvelox.env.B=x=y\n");
  EXPECT_EQ(run({"check", "app.kvf"}), (Outcome{0, ""}));
  const Outcome outcome = run({"check", "--script", "app.kvf"});
  EXPECT_TRUE(outcome.has("since it cuts it at the last \"=\""));
  EXPECT_TRUE(outcome.has("app.kvf:4: error: a generated script"));
  EXPECT_TRUE(outcome.has("app.kvf:5: error: a generated script"));
}

TEST_F(KvfTest, ExplainNamesTheOriginOfEverySetting) {
  sandbox_.write("defaults.kvf", "java.heap.size.max=32m\nhome=/opt\n");
  sandbox_.write("global.kvf", "java.heap.size.initial=8m\njava.heap.size.max=1m\n");
  kvf("velox.include.kvf=%kvf.file.dir%/defaults.kvf\n" + probe() +
      "java.heap.size.max=64m\njava.property.place=%home%/%NAME%\nx=%kvf.file.dir%%PATH%\n"
      "home=/later\n");
  const Texts arguments = {"explain", "--json", "app.kvf", "--", "--propVar", "NAME=x", "word"};
  const nlohmann::json launch = json(arguments);
  const auto property = [&](const std::string& key) {
    for (const auto& one : launch["properties"]) {
      if (one["key"] == key)
        return one["value"].get<std::string>() + " " + one["origin"].get<std::string>();
    }
    return std::string();
  };
  EXPECT_EQ(property("java.heap.size.max"), "64m app.kvf:5");
  EXPECT_EQ(property("java.heap.size.initial"), "8m global.kvf:1");
  EXPECT_EQ(property("java.property.place"), "/opt/x app.kvf:6");
  EXPECT_EQ(property("commandline.argv.1"), "word command line");
  EXPECT_EQ(property("path.separator"), ": built in");
  EXPECT_EQ(launch["arguments"], (nlohmann::json{"word"}));
  EXPECT_EQ(launch["jvm"]["library"], jvmLibrary());
  EXPECT_EQ(launch["classPath"][0]["written"], VELOX_PROBE_JAR);

  EXPECT_TRUE(
      run({"explain", "app.kvf", "--key", "java.property.place", "--", "--propVar", "NAME=x"})
          .has("java.property.place = \"/opt/x\"\n  app.kvf:6  \"%home%/%NAME%\"\n"
               "      %home% = \"/opt\"  (defaults.kvf:2)\n"
               "      %NAME% = \"x\"  (--propVar)\n"));
  EXPECT_TRUE(run({"explain", "app.kvf", "--key", "java.heap.size.max"})
                  .has("  defaults.kvf:1  \"32m\"  (not used)\n  app.kvf:5  \"64m\"\n"
                       "  global.kvf:2  \"1m\"  (not used)\n"));
  EXPECT_TRUE(run({"explain", "app.kvf", "--key", "java.path"})
                  .has("  default: $JAVA_HOME/bin/java, else java along PATH\n"));
  EXPECT_TRUE(run({"explain", "app.kvf"}).has("      not \"32m\"  (defaults.kvf:1)\n"));
  const nlohmann::json key = json({"explain", "--json", "app.kvf", "--key", "java.property.place"});
  EXPECT_EQ(key["value"], "/opt/");
  EXPECT_EQ(key["chain"][0]["references"][0],
            (nlohmann::json{{"name", "home"}, {"value", "/opt"}, {"from", "defaults.kvf:2"}}));
  EXPECT_EQ(key["chain"][0]["references"][1]["from"], "nowhere");
  EXPECT_TRUE(json({"explain", "--json", "app.kvf", "--key", "java.path"})["value"].is_null());
  EXPECT_EQ(run({"explain", "gone.kvf"}), (Outcome{2, "kvf: \"gone.kvf\" cannot be read\n"}));
  EXPECT_TRUE(run({"explain", "app.kvf", "--key", "x"}).has("\"  (built in)\n"));
  EXPECT_TRUE(run({"explain", "app.kvf", "--key", "x"}).has("\"  (environment)\n"));
  EXPECT_EQ(run({"explain", "app.kvf", "--key", "java.heap.size.mx"}).status, 2);
}

TEST_F(KvfTest, ExplainShowsWhatEachElementOfTheClassPathBrings) {
  sandbox_.write("lib/broken.jar", "PK");
  sandbox_.write("classes/note", "");
  kvf("java.library=" + jvmLibrary() +
      "\njava.start.class=A\n"
      "velox.class.path.extended=lib;classes/;gone.jar;" VELOX_PROBE_JAR "\n");
  const nlohmann::json elements = json({"explain", "--json", "app.kvf"})["classPath"];
  EXPECT_EQ(elements[0]["expanded"][0]["brings"], "the classes in this folder");
  EXPECT_EQ(elements[0]["expanded"][1]["path"], sandbox_.path("lib/broken.jar"));
  EXPECT_EQ(elements[0]["expanded"][1]["brings"], "nothing: it is not an archive, or is damaged");
  EXPECT_EQ(elements[1]["written"], "classes/");
  EXPECT_EQ(elements[2]["expanded"][0]["brings"], "nothing: it does not exist");
  EXPECT_TRUE(run({"explain", "app.kvf"}).has("Class path (velox.class.path.extended, app.kvf:3)"));
  kvf("java.library=/gone/libjvm.so\njava.start.class=A\n");
  const Outcome inherited = run({"explain", "app.kvf"}, {.environment = {{"CLASSPATH", "x.jar"}}});
  EXPECT_TRUE(
      inherited.has("Class path (from CLASSPATH, or the working directory)\n  \"x.jar\"\n"));
  EXPECT_TRUE(inherited.has("  no JVM of a known version is there\n"));
}

TEST_F(KvfTest, ExplainOfANativeApplicationNamesNoJvm) {
  kvf("application.library=" + library(3) + "\napplication.args=a \"b c\"\nvelox.env.A=1\n");
  const nlohmann::json launch = json({"explain", "--json", "app.kvf", "--", "word"});
  EXPECT_EQ(launch["arguments"], (nlohmann::json{"wrapper", "word", "a", "b c"}));
  EXPECT_EQ(launch["environment"], (nlohmann::json{{{"name", "A"}, {"value", "1"}}}));
  EXPECT_TRUE(launch["jvm"].is_null());
  EXPECT_TRUE(launch["command"].is_null());
  EXPECT_FALSE(run({"explain", "app.kvf"}).has("JVM"));
}

TEST_F(KvfTest, ExplainShowsWhereALaunchWouldEnd) {
  kvf(probe() + "velox.include.kvf=/gone.kvf\n");
  const nlohmann::json ends = json({"explain", "--json", "app.kvf"})["endsWith"];
  EXPECT_EQ(ends, (nlohmann::json{{{"origin", "app.kvf:4"},
                                   {"message", "Failed to open properties file : /gone.kvf"},
                                   {"rule", "missing-include"}}}));
  EXPECT_TRUE(run({"explain", "app.kvf"})
                  .has("The launch ends at app.kvf:4: \"Failed to open properties file : /gone"));
  // Words of its own where the launcher has no message. What is allowed is a fact all the same.
  kvf(probe() + "# kvf: allow heap-size\njava.heap.size.max=1x\n");
  EXPECT_TRUE(
      run({"explain", "app.kvf"}).has("The launch ends at app.kvf:5: \"1x\" in \"-Xmx1x\""));
}

struct FatalRow {
  std::string text;  ///< after a sound file
  Texts arguments;
  Texts rules;  ///< of the fatal findings
  bool runs = false;
};

// Those of the rules' own examples: examples_test.
TEST_F(KvfTest, OnlyWhatEndsTheLaunchIsFatal) {
  const FatalRow rows[] = {
      {"acme=1\n", {"--propVar", "A=1"}, {}, true},
      {"java.heap.size.max=1x\n", {"--version"}, {}},
      {"java.heap.size.max=1x\n", {"--generateScript"}, {}},
      {"java.heap.size.max=1x\n", {"--cmdlineJava"}, {"heap-size"}},
      {"java.heap.size.max=1x\n", {"--frob"}, {"heap-size", "dashed-argument"}},
      {"", {"--kill"}, {"kill-command", "kill-command"}},
      {"wrapper.command=--kill\n", {}, {"kill-command", "kill-command", "kill-command"}},
      {"java.library=\n", {}, {"empty-value"}},
      {"java.library=/gone.so\n", {}, {"jvm-library"}},
      {"java.extended.properties=-Dx=y z\n", {}, {}, true},
      {"java.extended.properties=-Xmx12m  -Xrs\n", {}, {"option-blank"}},
      {"application.library=/gone.so\n", {"--version"}, {"native-library"}},
  };
  for (const FatalRow& row : rows) {
    SCOPED_TRACE(row.text);
    kvf(probe() + row.text);
    Texts line = {"explain", "--json", "app.kvf", "--"};
    line.insert(line.end(), row.arguments.begin(), row.arguments.end());
    const nlohmann::json launch = json(line);
    Texts rules;
    for (const auto& finding : launch["endsWith"]) rules.push_back(finding["rule"]);
    EXPECT_EQ(rules, row.rules);
    EXPECT_EQ(java(row.arguments).has("returning\n"), row.runs);
  }
}

TEST_F(KvfTest, ExplainHasTheOptionsInTheOrderOfEachWay) {
  kvf(probe() + "java.property.app.empty=9\njava.property.app.lead=3\n");
  const auto isLeadFirst = [](const std::string& text) {
    return text.find("-Dapp.lead=3") < text.find("-Dapp.empty=9");
  };
  for (const char* command : {"--run", "--generateScript"}) {
    EXPECT_EQ(isLeadFirst(run({"explain", "app.kvf", "--", command}).out),
              isLeadFirst(java({"--debug", command}).out));
  }
}

TEST_F(KvfTest, ColourIsForTerminals) {
  kvf("word\n");
  const std::string check =
      "script -qec '" VELOX_KVF " check --disable no-library app.kvf' /dev/null";
  EXPECT_TRUE(sandbox_.run({"sh", "-c", check}).has("\033[1;31merror\033[0m"));
  EXPECT_FALSE(sandbox_.run({"sh", "-c", "NO_COLOR=1 " + check}).has("\033"));
  EXPECT_FALSE(run({"check", "app.kvf"}).has("\033"));
  const Texts hostile[] = {{"check", "--\033[31m"},
                           {"cds", "\033[31m"},
                           {"cds", "\033.kvf", "--", "\033"},
                           {"new", "made\033", "--jar", VELOX_PROBE_JAR, "--main", "probe.Probe"},
                           {"new", "made", "--jar", "\033.jar"}};
  sandbox_.write("\033.kvf", probe());
  for (const Texts& arguments : hostile) {
    // An older JVM is refused before its program is started.
    if (javaRelease() < 13 && arguments.size() == 4) continue;
    EXPECT_TRUE(run(arguments).has("\\x1b"));
    EXPECT_FALSE(run(arguments).has("\033"));
  }
}

TEST_F(KvfTest, TheJavaCommandIsWhatTheLauncherDoes) {
  kvf(probe() +
      "velox.env.PROBE=it's $HOME `id` \"a\" \\\\ \\n* ~\n"
      "java.property.probe.value=$(id) 'x' \"y\" \\n \\\\\\\\ ;&|<>%UNSET%\n"
      "java.extended.properties=-XX:+UseFoo -Xrubbish -nothing\n"
      "application.args=\"\" $HOME \"two  words\" it's `id` ; * -n \x1B[0m\n"
      "application.start.dir=" +
      sandbox_.path("elsewhere") + "\n");
  fs::create_directory(sandbox_.path("elsewhere"));
  const Start start = {.environment = {jvmInside}};
  const auto withoutProcess = [](std::string text) {
    const std::size_t at = text.find("pid[");
    return text.erase(at, text.find('\n', at) - at);
  };
  const std::string command =
      json({"explain", "--json", "app.kvf", "--", "", "new\nline"})["command"];
  const Outcome byShell = sandbox_.run({"sh", "-c", command}, start);
  const Outcome byLauncher = startWrapper({"", "new\nline"}, start).wait();
  EXPECT_EQ(byShell.status, 0);
  EXPECT_TRUE(byLauncher.has("arg[two  words]\n")) << byLauncher.out;
  EXPECT_EQ(withoutProcess(byShell.out), withoutProcess(byLauncher.out)) << command;

  const std::string shown = run({"explain", "app.kvf", "--", "", "new\nline"}).out;
  EXPECT_EQ(shown.find('\x1B'), std::string::npos);
  const std::string lastLine = shown.substr(shown.rfind('\n', shown.size() - 2) + 1);
  EXPECT_EQ(withoutProcess(sandbox_.run({"bash", "-c", lastLine}, start).out),
            withoutProcess(byLauncher.out))
      << lastLine;
}

TEST_F(KvfTest, ExplainSaysWhatTheProgramJavaDoesDifferently) {
  const auto differences = [&](const std::string& text) {
    kvf(probe() + text);
    return json({"explain", "--json", "app.kvf"})["differences"];
  };
  EXPECT_EQ(differences(""), nlohmann::json::array());
  EXPECT_EQ(differences("java.start.method=other\n"),
            (nlohmann::json{"java runs main, not other"}));
  EXPECT_EQ(differences("java.extended.properties=-version\n"),
            (nlohmann::json{"java takes -version for itself, a JVM ignores it"}));
  EXPECT_EQ(differences("velox.env.JDK_JAVA_OPTIONS=-Da=b\n"),
            (nlohmann::json{"java reads further options from JDK_JAVA_OPTIONS"}));
  EXPECT_TRUE(run({"explain", "app.kvf"}).has("  # except that java reads further options from"));
  kvf(probe());
  EXPECT_TRUE(run({"explain", "app.kvf"}, {.environment = {{"JDK_JAVA_OPTIONS", "-Da=b"}}})
                  .has("  # except that java reads further options from"));
}

TEST_F(KvfTest, NothingIsStartedOrLeftBehind) {
  sandbox_.write("run/note", "");
  kvf(probe() + "processID.file.name=" + sandbox_.path("run/app.pid") +
      "\nvelox.adjuster.class.path=" VELOX_ADJUSTER_JAR "\nvelox.env.PROBE=1\n");
  const std::string log = sandbox_.read(sandbox_.logFile());
  EXPECT_EQ(run({"check", "--", VELOX_WRAPPER, "--propFile", sandbox_.path("app.kvf"), "--debug",
                 "--delayStart", "60000"}),
            (Outcome{0, ""}));
  EXPECT_FALSE(fs::exists(sandbox_.path("run/app.pid")));
  EXPECT_EQ(sandbox_.read(sandbox_.logFile()), log);
}

TEST_F(KvfTest, AJvmReportsWhatItIgnoresAndRefuses) {
  kvf(probe() + "java.extended.properties=-server -XX:+UseFoo -Xrubbish -Xmx64m -Dx=y\n");
  const Outcome ignored = run({"check", "--jvm", "app.kvf"});
  EXPECT_TRUE(ignored.has("app.kvf:4: warning: the JVM does not know \"-XX:+UseFoo\""));
  EXPECT_TRUE(ignored.has("app.kvf:4: warning: the JVM does not know \"-Xrubbish\""));
  EXPECT_TRUE(
      ignored.has("\"-Xrubbish\"; --run ignores it silently, --cmdlineJava does not start"));
  EXPECT_TRUE(ignored.has("\"-server\"; --run ignores it silently, only --cmdlineJava takes it"));
  EXPECT_FALSE(ignored.has("-Xmx64m"));
  EXPECT_FALSE(ignored.has("jvm-refuses"));

  kvf(probe() + "java.extended.properties=-XX:ReservedCodeCacheSize=1k\n");
  const Outcome refused = run({"check", "--jvm", "app.kvf"});
  EXPECT_TRUE(refused.has("error: the JVM does not start with \"-XX:ReservedCodeCacheSize=1k\": "));
  EXPECT_EQ(run({"check", "app.kvf"}), (Outcome{0, ""}));
  kvf(probe() + "java.heap.size.max=8m\njava.heap.size.initial=16m\n");
  EXPECT_TRUE(run({"check", "--jvm", "app.kvf"}).has("app.kvf:5: error: the JVM does not start"));
}

TEST_F(KvfTest, AnOptionThatTwoReleasesDoNotTakeIsToldOnce) {
  if (javaRelease() < 14) GTEST_SKIP() << "its JVM takes the option";
  kvf(probe() + "java.extended.properties=-XX:+UseConcMarkSweepGC\n");
  const std::string release = javaRelease() == 21 ? "25" : "21";
  const Outcome told = run({"check", "--java", release, "app.kvf"});
  EXPECT_TRUE(
      told.has("warning: Java " + release + " does not know \"-XX:+UseConcMarkSweepGC\", "));
  EXPECT_TRUE(told.has(" (the JVM, Java " + std::to_string(javaRelease()) + "."));
  EXPECT_EQ(std::count(told.out.begin(), told.out.end(), '\n'), 1) << told.out;
}

TEST_F(KvfTest, AJvmNamesEachOptionInItsLine) {
  kvf(probe() +
      "java.extended.properties=-Xmx64m \\\n-XX:+UseG1GC \\\n-XX:+UseSerialGC "
      "-XX:MaxMetaspaceSize=3q \\\n-XX:+UseParallelGC -XX:NoSuchFlag=%kvf.file.dir%/x\n");
  const Outcome told = run({"check", "--jvm", "app.kvf"});
  EXPECT_TRUE(
      told.has("app.kvf:6: error: the JVM does not start with \"-XX:MaxMetaspaceSize=3q\""));
  EXPECT_TRUE(told.has("app.kvf:6: error: the JVM does not start with \"-XX:+UseSerialGC\""));
  EXPECT_TRUE(told.has("app.kvf:7: error: the JVM does not start with \"-XX:+UseParallelGC\""));
  EXPECT_TRUE(told.has("app.kvf:7: warning: the JVM does not know \"-XX:NoSuchFlag=/"));
  EXPECT_FALSE(told.has("app.kvf:1:"));
}

TEST_F(KvfTest, AJvmTellsOfALogThatStaysEmptyAndIsNotGivenFilesOfOptions) {
  if (javaRelease() < 9) GTEST_SKIP() << "it has neither";
  sandbox_.write("options", "-Xlog:gc:written.log\n");
  kvf(probe() + "java.extended.properties=-Xlog:gc+class -XX:VMOptionsFile=options\n");
  const Outcome told = run({"check", "--jvm", "app.kvf"});
  EXPECT_TRUE(told.has("app.kvf:4: warning: the JVM starts without \"-Xlog:gc+class\": "));
  EXPECT_TRUE(
      told.has("without the options that act outside of it: \"-XX:VMOptionsFile=options\""));
  EXPECT_FALSE(fs::exists(sandbox_.path("written.log")));
}

TEST_F(KvfTest, AJvmLooksForTheStartClassOnAModulePath) {
  if (javaRelease() < 9) GTEST_SKIP() << "no modules";
  const std::string modules =
      std::string("velox.class.path.extended=/tmp\njava.start.class=") +
      "probe.Probe\njava.extended.properties=--module-path=" VELOX_PROBE_JAR;
  kvf("java.library=" + jvmLibrary() + "\n" + modules + "\n");
  EXPECT_TRUE(run({"check", "--jvm", "app.kvf"}).has("add --add-modules=probe"));
  kvf("java.library=" + jvmLibrary() + "\n" + modules + " --add-modules=ALL-MODULE-PATH\n");
  EXPECT_EQ(run({"check", "--jvm", "app.kvf"}), (Outcome{0, ""}));
  // As java -m does; a file in brackets is one file.
  kvf("java.library=" + jvmLibrary() + "\n" + modules + "\njava.property.jdk.module.main=probe\n");
  fs::rename(sandbox_.path("app.kvf"), sandbox_.path("[app.kvf]"));
  EXPECT_EQ(run({"check", "--jvm", "[app.kvf]"}), (Outcome{0, ""}));
  kvf("java.library=" + jvmLibrary() + "\n" + modules + " --add-modules=acme.gone\n");
  EXPECT_TRUE(run({"check", "--jvm", "app.kvf"}).has("Module acme.gone not found"));
}

TEST_F(KvfTest, WhyAJvmDoesNotStartIsTheFirstThatItSaysOfIt) {
  kvf("java.library=" VELOX_NATIVE_DIRECTORY "/librefusing_jvm.so\n" +
      probe().substr(probe().find('\n') + 1));
  const struct {
    const char* says;
    const char* reason;
  } rows[] = {
      {"Error: one\nError: two\n", "Error: one"},
      {"\n\nError: after blank lines\n", "Error: after blank lines"},
      {"Picked up JAVA_TOOL_OPTIONS: -Da=b\nError: one\n", "Error: one"},
      {"[0.003s][info][gc] Using G1\nError: one\n", "Error: one"},
      {"OpenJDK 64-Bit Server VM warning: Option X was deprecated in version 9\nError: one\n",
       "Error: one"},
      {"Error occurred during initialization of VM\n\nToo small\nmore\n",
       "Error occurred during initialization of VM: Too small"},
      {"no end of line", "no end of line"},
  };
  for (const auto& row : rows) {
    const Outcome outcome =
        run({"check", "--jvm", "app.kvf"}, {.environment = {{"JVM_SAYS", row.says}}});
    EXPECT_EQ(outcome.status, 1) << row.says;
    EXPECT_TRUE(outcome.has("these options: \"" + std::string(row.reason) + "\" [jvm-refuses]\n"))
        << row.says;
  }
}

TEST_F(KvfTest, ATrialForAUnitHasItsEnvironmentAlone) {
  kvf(probe());
  sandbox_.write("app.service",
                 "[Service]\nType=exec\nSuccessExitStatus=143\nExecStart=" VELOX_WRAPPER
                 " --propFile " +
                     sandbox_.path("app.kvf") + "\n");
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "check", "--jvm", "app.service"},
                         {.environment = {{"JAVA_TOOL_OPTIONS", "-javaagent:gone"}}}),
            (Outcome{0, ""}));
}

TEST_F(KvfTest, AnUpdateOfJavaStopsNoService) {
  if (javaRelease() < 9) GTEST_SKIP() << "Java 8 does not start with the option of an archive";
  sandbox_.write("old.jsa", "of the JVM before");
  kvf(probe() +
      "java.extended.properties=-XX:SharedArchiveFile=%kvf.file.dir%/old.jsa -XX:MaxPermSize=64m "
      "-XX:+UseConcMarkSweepGC -XX:HeapDumpPath=/gone/dumps/\n");
  EXPECT_EQ(run({"check", "app.kvf"}).status, 1);
  EXPECT_EQ(run({"check", "--severity=error", "app.kvf"}).status, 0);
  EXPECT_EQ(
      sandbox_.run({VELOX_WRAPPER, "--propFile", "app.kvf", "--run"}, {.environment = {jvmInside}})
          .status,
      0);
}

TEST_F(KvfTest, ATrialTouchesNothingOfTheApplication) {
  sandbox_.write("gc.log", "a log\n");
  sandbox_.write("app.jfr", "a recording\n");
  kvf(probe() +
      "java.extended.properties=-Xloggc:gc.log -XX:StartFlightRecording=filename=app.jfr "
      "-agentlib:jdwp=transport=dt_socket,server=y,suspend=y,address=1 "
      "-XX:+HeapDumpOnOutOfMemoryError -Xms1t -Xmx1t\nvelox.env.JAVA_TOOL_OPTIONS=-javaagent:x\n");
  const auto files = [&] {
    return std::distance(fs::directory_iterator(sandbox_.path("")), fs::directory_iterator());
  };
  const auto before = files();
  const Outcome told = run({"check", "--jvm", "--disable", "option-deprecated", "app.kvf"});
  EXPECT_TRUE(told.has(
      "was tried without the options that act outside of it: \"-XX:StartFlightRecording="));
  EXPECT_TRUE(told.has("\"-agentlib:jdwp=transport=dt_socket,server=y,suspend=y,address=1\""));
  EXPECT_TRUE(told.has("\"JAVA_TOOL_OPTIONS=-javaagent:x\""));
  EXPECT_EQ(files(), before);
  EXPECT_EQ(sandbox_.read("gc.log"), "a log\n");
  EXPECT_EQ(sandbox_.read("app.jfr"), "a recording\n");
}

TEST_F(KvfTest, ASignalDuringATrialLeavesNothing) {
  // The loader waits for a writer.
  ASSERT_EQ(::mkfifo(sandbox_.path("libjvm.so").c_str(), 0600), 0);
  kvf("java.library=" + sandbox_.path("libjvm.so") + "\njava.start.class=Main\n");
  const fs::path temporary = sandbox_.path("temporary");
  fs::create_directory(temporary);
  Child child = sandbox_.start({VELOX_KVF, "check", "--jvm", "app.kvf"},
                               {.environment = {{"TMPDIR", temporary}}});
  for (int looks = 0; looks < 1000 && fs::is_empty(temporary); ++looks)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_FALSE(fs::is_empty(temporary));
  ::kill(child.id(), SIGTERM);
  EXPECT_EQ(child.wait().status, 128 + SIGTERM);
  EXPECT_TRUE(fs::is_empty(temporary));
}

TEST_F(KvfTest, TheStackLimitOfTheCheckCounts) {
  kvf(probe() + "java.thread.stack.size=64m\n");
  EXPECT_TRUE(sandbox_.run({"sh", "-c", "ulimit -s 8192; exec " VELOX_KVF " check app.kvf"})
                  .has("app.kvf:4: warning: the hard stack limit here is 8192k"));
}

TEST_F(KvfTest, EveryRuleIsExplained) {
  EXPECT_TRUE(run({"rules", "adjuster-class"})
                  .has("Example:\n    velox.adjuster.class.path=%kvf.file.dir%/gone.jar\nRemedy:"));
  std::istringstream list(run({"rules"}).out);
  int count = 0;
  for (std::string line; std::getline(list, line); ++count) {
    const std::string rule = line.substr(0, line.find(' '));
    EXPECT_TRUE(run({"rules", rule}).has("\nRemedy:\n")) << rule;
  }
  EXPECT_GT(count, 50);
  EXPECT_EQ(run({"rules", "unknown-kye"}),
            (Outcome{2, "kvf: there is no rule \"unknown-kye\" (did you mean unknown-key?)\n"}));
}

}  // namespace
