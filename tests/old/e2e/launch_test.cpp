#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

#include "e2e/WrapperTest.h"
#include "support/Properties.h"

namespace {

namespace fs = std::filesystem;

class Launch : public WrapperTest {};

TEST_F(Launch, CommandsAreDispatched) {
  const std::string banner =
      "\n\nVELOX Wrapper\nCopyright (c) 2026 the VELOX Wrapper authors.\nAll rights reserved.\n\n"
      "Version 2.4.6\n\n";
  kvf("");
  const Outcome help = wrapper("--help");
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(help.out.starts_with(banner + "\nUsage:\n    " VELOX_WRAPPER
                                            " <command>\n\nwhere <command>"));
  EXPECT_TRUE(help.has("emppty value\n"));
  EXPECT_TRUE(help.has("kill current Wrapper process \n"));
  EXPECT_TRUE(help.has("has to be set as %name% in"));
  EXPECT_TRUE(help.out.ends_with("to run the application\n\n"));
  for (const std::string& command : split("--install|--uninstall|--update|--start|--startSync|--"
                                          "stop|--restart|--query|--ntservice")) {
    EXPECT_EQ(wrapper(command), (Outcome{0, "    " + command + " is only for windows\n"}));
  }

  const Outcome version = {0, banner + "VELOX Wrapper, 2.4.6 V1 64bit\n\n"};
  const Outcome noClass = {255, "\nerror,java.start.class not setted in kvf file\n\n"};
  const std::string cannotKill =
      "Process cannot be killed because its KVF file does not define a \"processID.file.name\" "
      "property.\n";
  const std::string die = sandbox_.write("die", "#!/bin/sh\nkill -9 $$\n", true);
  const std::string java = "java.start.class=M\njava.path=";
  const std::tuple<std::string, std::string, Outcome> cases[] = {
      {"", "--run|--bogus", help},
      {"wrapper.command=--cleanInstall\n", "--silent", help},
      {"wrapper.command=unknown\n", "", help},
      {"", "--version", version},
      {"wrapper.command=--version\n", "", version},
      {"wrapper.command=--version\n", "--stop", {0, "    --stop is only for windows\n"}},
      {"", "--kill|Abort", {1, cannotKill}},
      {"java.start.class=\n", "--cmdlineJava", noClass},
      {java + "/no/java\n", "--cmdlineJava", {0, "Failed to exec :No such file or directory\n"}},
      // The raw wait status becomes the exit status.
      {java + die + "\n", "--cmdlineJava", {9, ""}},
      {java + "false\n", "--cmdlineJava", {0, ""}},
  };
  for (const auto& [properties, arguments, outcome] : cases) {
    kvf(properties);
    EXPECT_EQ(wrapper(arguments), outcome) << properties << arguments;
  }
}

TEST_F(Launch, BadPropertiesFilesAreToldAndNothingCrashes) {
  const std::string failed = "\nAdjustment failed.\n";
  sandbox_.write("empty.kvf", "");
  sandbox_.write("binary.kvf", std::string("\177ELF\0\377\376=\n%\\", 11));
  fs::permissions(sandbox_.write("secret.kvf", "a=1\n"), fs::perms::none);
  sandbox_.write("unclosed.kvf", "a=%b\napplication.library=%\n");
  sandbox_.write("loop.kvf", "velox.include.kvf=loop.kvf\n");
  const std::pair<std::string, std::string> cases[] = {
      {"empty.kvf|binary.kvf|.",
       "No application.library or java.library specified in config - bad properties file?\n"},
      {"missing.kvf", "Failed to open properties file : missing.kvf" + failed},
      {"secret.kvf", "Failed to open properties file : secret.kvf" + failed},
      {"loop.kvf", "Include files nest too deeply at properties file : loop.kvf" + failed},
      {"unclosed.kvf", "Lib name %\nFailed to load shared library, library name : %\n"},
  };
  for (const auto& [files, out] : cases) {
    for (const std::string& file : split(files)) {
      EXPECT_EQ(sandbox_.run(VELOX_WRAPPER "|--propFile|" + file, {.asNobody = true}),
                (Outcome{255, out}))
          << file;
    }
  }
}

TEST_F(Launch, TheLogFileHoldsWhatDebuggingShows) {
  kvf("application.library=" + library(3) + "\n");
  fs::remove("/tmp/wrap.log");
  EXPECT_EQ(wrapper("").status, 0);
  EXPECT_FALSE(fs::exists("/tmp/wrap.log"));
  for (int run = 0; run < 2; ++run) {
    const Outcome outcome = wrapper("--debug");
    const Outcome log = {0, sandbox_.read("/tmp/wrap.log")};
    std::size_t at = 0;
    for (const std::string& line :
         split("Properties file used is : app.kvf\n|"
               "Notifying parent process that adjustment is not necessary.\n|"
               "Waited for adjustment.\n|WrapperMain()\n|setupSystemEnvironment()\n")) {
      EXPECT_TRUE(outcome.has(line));
      at = log.out.find(line, at);
      ASSERT_NE(at, std::string::npos) << line << log;
    }
    EXPECT_TRUE(outcome.has("Waiting for adjustment...\n") &&
                log.has("Waiting for adjustment...\n"));
    EXPECT_EQ(log.out.find("WrapperMain()"), log.out.rfind("WrapperMain()"));
  }
}

TEST_F(Launch, ExportedVariablesReachTheApplicationHoweverTheProgramWasStarted) {
  kvf(fakeJava() + "velox.env.PROBE=%kvf.file.dir%:1\nprocessID.file.name=" + sandbox_.path("pid"));
  const std::string bin = sandbox_.path("bin");
  fs::create_directory(bin);
  fs::copy_file(VELOX_WRAPPER, bin + "/svc");
  fs::create_symlink("bin/svc", sandbox_.path("link"));
  const std::string arguments =
      "|--propFile|" + sandbox_.path("app.kvf") + "|--cmdlineJava|--pid|--debug";
  const auto leaveNoDirectory = [] {
    ::mkdir("gone", 0777);
    if (::chdir("gone") == 0) ::rmdir("../gone");
  };
  const std::pair<std::string, std::function<void()>> cases[] = {
      {"svc", {}},    {"svc", leaveNoDirectory}, {"./bin/svc", {}},
      {"./link", {}}, {bin + "/svc", {}},        {bin + "/svc", leaveNoDirectory}};
  for (const auto& [name, inChild] : cases) {
    SCOPED_TRACE(name);
    const Sandbox::Start start = {.environment = {{"PATH", bin + ":/usr/bin:/bin"}},
                                  .inChild = inChild};
    const Outcome outcome = sandbox_.run(name + arguments, start);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.has("env[" + sandbox_.path() + ":1]")) << outcome.out;
    EXPECT_TRUE(outcome.has("\napplication.processid=" + sandbox_.read("pid") + "\n"));
    EXPECT_TRUE(outcome.has("about to call execvp()"));
    EXPECT_EQ(outcome.out.find("about to call"), outcome.out.rfind("about to call"));
  }
}

TEST_F(Launch, ReExecutionThatCannotHappenIsFatal) {
  kvf(fakeJava() + "velox.env.PROBE=1\n");
  sandbox_.write("plain", "");
  const auto start = [&](const std::string& name, int count) {
    std::string line = name + "|--propFile|app.kvf|--cmdlineJava";
    for (int i = 4; i < count; ++i) line += "|x";
    return sandbox_.run(line, {.program = VELOX_WRAPPER});
  };
  const std::string failed = "Failed to exec process : ";
  EXPECT_EQ(start("/gone/svc", 4),
            (Outcome{255, failed + "No such file or directory : /gone/svc\n"}));
  EXPECT_EQ(start("./plain", 4), (Outcome{255, failed + "Permission denied : ./plain\n"}));
  EXPECT_EQ(start(VELOX_WRAPPER, 1022).status, 0);
  const Outcome tooMany = start(VELOX_WRAPPER, 1023);
  EXPECT_EQ(tooMany.status, 255);
  EXPECT_EQ(tooMany.out.substr(0, failed.size() + 14), failed + "1023 arguments");
  EXPECT_TRUE(wrapper("--innerProcess|--cmdlineJava").has("env[]"));
}

TEST_F(Launch, NothingOfTheWrapperStaysOpenInOtherPrograms) {
  const std::string list = sandbox_.write("list", "#!/bin/sh\necho $(ls /proc/self/fd) .\n", true);
  kvf("java.path=" + list + "\njava.start.class=M\nvelox.env.A=1\nprocessID.file.name=pid\n");
  const Outcome outcome = wrapper("--debug|--cmdlineJava");
  EXPECT_TRUE(outcome.has("\n" + sandbox_.run(list).out)) << outcome;
  // A closed standard output is no place for the log file, which would then hold each line twice.
  EXPECT_EQ(wrapper("--debug|--version", {.inChild = [] { ::close(STDOUT_FILENO); }}).status, 0);
  const std::string log = sandbox_.read("/tmp/wrap.log");
  EXPECT_EQ(log.find("WrapperMain()"), log.rfind("WrapperMain()"));
}

TEST_F(Launch, TheAdjusterDecidesWhichFileIsUsed) {
  const std::string adjusterArgs =
      "arg[-wrapper]\narg[-file]\narg[" + sandbox_.path("app.kvf") + "]\n";
  const std::string app = "application.library=" + library(3) + "\n";
  const std::string missing = "Failed to open properties file : app.kvf.adj\n";
  const std::tuple<std::string, int, std::string> cases[] = {
      {"0", 255, missing},
      {"crash", 255, missing},
      {"65", 65, "arg[original]\n"},
      {"3", 255, "Adjustment failed.\n"},
  };
  kvf(app + "velox.adjuster.class.path=x\napplication.args=original\n");
  for (const auto& [adjustment, status, out] : cases) {
    const Outcome outcome = wrapper("", {.environment = {{"STATUS", adjustment}}});
    EXPECT_EQ(outcome.status, status) << adjustment;
    EXPECT_TRUE(outcome.has(adjusterArgs)) << outcome;
    EXPECT_TRUE(outcome.has(out)) << outcome;
  }
  // A command that only Windows carries out still "succeeds" in the child.
  EXPECT_EQ(wrapper("--install").out,
            "registered\n    --install is only for windows\n3 closed at the end\n" + missing);
  sandbox_.write("app.kvf.adj", app + "application.args=adjusted");
  const Outcome adjusted = wrapper("");
  EXPECT_TRUE(adjusted.status == 0 && adjusted.has("arg[adjusted]\n")) << adjusted;
}

TEST_F(Launch, AnAdjustedJavaRunIsRecordedUnderTheParentsId) {
  const std::string properties = probe() + "velox.env.PROBE=1\nprocessID.file.name=pid\n";
  sandbox_.write("app.kvf.adj", properties + "application.args=adjusted\n");
  kvf(properties + "velox.adjuster.class.path=" VELOX_ADJUSTER_JAR "\njava.property.colour=grey\n");
  const Outcome outcome = java("--run");
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has("pid[" + sandbox_.read("pid") + "]")) << outcome.out;
  EXPECT_NE(sandbox_.read("app.kvf.adj").find("colour=green"), std::string::npos);
}

TEST_F(Launch, NativeLibrariesSupplyTheEntryPointsTogether) {
  const std::string lost = "Failed to load shared library, library name : ";
  const std::string entry = "Failed to load shared lib procedure entry point \"";
  const std::string called = "registered\narg[x]\n";
  const std::string all = library(3);
  const std::pair<std::string, Outcome> cases[] = {
      {all, {5, called + "3 closed early\n"}},
      {all + ":/never/opened.so", {5, called + "3 closed early\n"}},
      {library(0) + ":" + library(1) + ":" + library(2),
       {5, called + "1 closed early\n2 closed early\n0 closed at the end\n"}},
      {library(1), {255, entry + "pAppStop\"\n1 closed early\n"}},
      {library(2), {255, entry + "AppMain\"\n2 closed early\n"}},
      {all + ".none:x", {255, "Lib name " + all + ".none:x\n" + lost + all + ".none\n"}},
      // An empty element names the program itself, which supplies nothing.
      {library(1) + "::" + library(2), {5, called + "1 closed early\n2 closed early\n"}},
      {"./app.kvf", {255, "Lib name ./app.kvf\n" + lost + "./app.kvf\n"}},
  };
  const std::string pid = sandbox_.path("pid");
  for (const auto& [libraries, outcome] : cases) {
    kvf("application.library=" + libraries + "\nvelox.env.A=1\nprocessID.file.name=pid\n");
    EXPECT_EQ(wrapper("x", {.environment = {{"STATUS", "5"}, {"PID_FILE", pid}}}), outcome);
    EXPECT_EQ(fs::exists(pid), outcome.status == 255);
  }
}

TEST_F(Launch, KillExplainsItself) {
  const std::string pid = sandbox_.path("pid");
  const std::string cannot = "Process cannot be killed because its process ID file \"";
  const std::string cannotUse = cannot + pid + "\"";
  const pid_t ended = ::fork();
  if (ended == 0) ::_exit(0);
  waitFor(ended);
  const std::string gone = std::to_string(ended);
  const std::tuple<std::string, std::string, Outcome> cases[] = {
      {"", "Abort", {1, " is empty\n"}},
      {"12\n", "Abort", {1, " contains an invalid process ID \"12\n\".\n"}},
      {"12a", "term", {1, " contains an invalid process ID \"12a\".\n"}},
      {gone, "Abort", {0, "  contains a nonexistent process ID \"" + gone + "\".\n"}},
      {"99999999999", "Abort", {0, "  contains a nonexistent process ID \"999999999\".\n"}},
      {"1", "Normal", {0, " contains a process ID \"1\" that is owned by a different user.\n"}},
  };
  kvf("processID.file.name=" + pid + "\n");
  for (const auto& [content, type, told] : cases) {
    sandbox_.write("pid", content);
    EXPECT_EQ(wrapper("--kill|" + type, {.asNobody = true}),
              (Outcome{told.status, cannotUse + told.out}));
    EXPECT_TRUE(fs::exists(pid));
  }
  sandbox_.write("pid", gone);
  EXPECT_EQ(
      wrapper("--kill|term"),
      (Outcome{1, "Invalid kill type \"term\".  Valid types are \"abort\" and \"normal\". \n"}));
  for (const auto& [type, signal] : {std::pair("ABORT", SIGKILL), std::pair("Normal", SIGINT)}) {
    kvf("application.library=" + library(3) + "\nprocessID.file.name=" + pid + "\n");
    fs::remove(pid);
    const pid_t child = sandbox_.start(VELOX_WRAPPER "|--propFile|app.kvf",
                                       {.environment = {{"STATUS", "wait"}}}, "/dev/null");
    for (int i = 0; i < 3000 && (!fs::exists(pid) || fs::is_empty(pid)); ++i) ::usleep(10000);
    kvf("processID.file.name=" + pid + "\n");
    EXPECT_EQ(wrapper(std::string("--kill|") + type).out, "");
    EXPECT_EQ(waitFor(child), 128 + signal);
    EXPECT_FALSE(fs::exists(pid));
  }
  EXPECT_EQ(wrapper("--kill|Abort").out,
            cannot + " " + pid + " \" cannot be read or contains invalid data\n");
  fs::create_directory(pid);
  EXPECT_EQ(wrapper("--kill|Abort").out, cannotUse + " is empty\n");
  kvf("wrapper.command=--kill\nprocessID.file.name=" + sandbox_.write("stays", gone) + "\n");
  EXPECT_EQ(wrapper("").out, "");
}

}  // namespace
