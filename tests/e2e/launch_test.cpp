#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

#include "e2e/WrapperTest.h"

namespace {

namespace fs = std::filesystem;

class Launch : public WrapperTest {};

TEST_F(Launch, CommandsAreDispatched) {
  const std::string usage = "\nUsage:\n    " VELOX_WRAPPER " <command>\n\nwhere <command>";
  const std::string banner =
      "\n\nVELOX Wrapper\nCopyright (c) 2026 the VELOX Wrapper authors.\nAll rights reserved.\n\n"
      "Version 2.4.6\n\n";
  struct Case {
    std::string properties;
    Arguments arguments;
    int status;
    std::string out;  ///< how the output begins
  };
  const std::string windows = " is only for windows\n";
  std::vector<Case> cases = {
      {"", {"--version"}, 0, banner + "VELOX Wrapper, 2.4.6 V1 64bit\n\n"},
      {"", {"--help"}, 0, banner + usage},
      {"", {"--run", "--bogus"}, 0, banner + usage},
      {"wrapper.command=--cleanInstall\n", {"--silent"}, 0, banner + usage},
      {"wrapper.command=--version\n", {}, 0, banner + "VELOX Wrapper, 2.4.6"},
      {"wrapper.command=unknown\n", {}, 0, banner + usage},
      {"wrapper.command=--version\n", {"--stop"}, 0, "    --stop" + windows},
      {"", {}, 255, "No application.library or java.library specified in config - bad prop"},
  };
  for (const char* command : {"--install", "--uninstall", "--update", "--start", "--startSync",
                              "--stop", "--restart", "--query", "--ntservice"}) {
    cases.push_back({"", {command}, 0, "    " + std::string(command) + windows});
  }
  for (const Case& row : cases) {
    kvf(row.properties);
    const Outcome outcome = wrapper(row.arguments);
    EXPECT_EQ(outcome.status, row.status) << testing::PrintToString(row.arguments);
    EXPECT_EQ(outcome.out.substr(0, row.out.size()), row.out);
  }
  const std::string help = wrapper({"--help"}).out;
  EXPECT_EQ(help.substr(help.find("    --propFile")),
            "    --propFile <fileName>\n"
            "    --install, installs the wrapped application as a service\n"
            "    --cleanInstall, installs the wrapped application as a service and will not "
            "register emppty value\n"
            "    --uninstall, uninstalls a previously installed service\n"
            "    --update, updates a previously installed wrapped application\n"
            "      or installs if non-existing\n"
            "    --start, starts a previously installed service\n"
            "    --startSync, starts a previously installed service synchronously\n"
            "    --restart, restarts service\n"
            "    --stop, stops a running service\n"
            "    --kill <Abort|Normal>, kill current Wrapper process \n"
            "    --run, runs the wrapped application as a console application\n"
            "    --generateScript, generate java run script\n"
            "    --cmdlineJava, run java program by command line\n"
            "    --debug, shows debug information\n"
            "    --silent, does not show error messagebox\n"
            "    --query, queries the state of the service\n"
            "    --propVar <name=value>, replaces the custom variable with its value\n"
            "      *** The custom variable has to be set as %name% in the .kvf file.\n"
            "    --delayStart, sets a delay time in milliseconds to run the application\n\n");
}

TEST_F(Launch, BadPropertiesFilesAreToldAndNothingCrashes) {
  const std::string notConfigured =
      "No application.library or java.library specified in config - bad properties file?\n";
  const std::string failed = "\nAdjustment failed.\n";
  sandbox_.write("empty.kvf", "");
  sandbox_.write("binary.kvf", std::string("\x7F"
                                           "ELF\0\xFF\xFE=\n%\\",
                                           11));
  sandbox_.write("large.kvf", std::string(1 << 20, 'x'));
  sandbox_.write("secret.kvf", "a=1\n");
  fs::permissions(sandbox_.path("secret.kvf"), fs::perms::none);
  sandbox_.write("unclosed.kvf", "a=%b\napplication.library=%\n");
  sandbox_.write("loop.kvf", "velox.include.kvf=loop.kvf\n");
  const std::pair<const char*, std::string> cases[] = {
      {"empty.kvf", notConfigured},
      {"binary.kvf", notConfigured},
      {"large.kvf", notConfigured},
      {".", notConfigured},
      {"missing.kvf", "Failed to open properties file : missing.kvf" + failed},
      {"secret.kvf", "Failed to open properties file : secret.kvf" + failed},
      {"loop.kvf", "Include files nest too deeply at properties file : loop.kvf" + failed},
      {"unclosed.kvf", "Lib name %\nFailed to load shared library, library name : %\n"},
  };
  for (const auto& [file, out] : cases) {
    const Outcome outcome = sandbox_.run({VELOX_WRAPPER, "--propFile", file}, {.asNobody = true});
    EXPECT_EQ(outcome.status, 255) << file;
    EXPECT_EQ(outcome.out, out) << file;
  }
}

TEST_F(Launch, TheLogFileHoldsWhatDebuggingShows) {
  kvf("application.library=" + library(3) + "\n");
  fs::remove("/tmp/wrap.log");
  EXPECT_EQ(wrapper({}).status, 0);
  EXPECT_FALSE(fs::exists("/tmp/wrap.log"));
  for (int run = 0; run < 2; ++run) {
    const Outcome outcome = wrapper({"--debug"});
    const std::string log = Sandbox().read("/tmp/wrap.log");
    std::size_t at = 0;
    for (const char* line :
         {"Properties file used is : app.kvf\n", "Waiting for adjustment...\n",
          "Notifying parent process that adjustment is not necessary.\n",
          "Waited for adjustment.\n", "WrapperMain()\n", "setupSystemEnvironment()\n"}) {
      EXPECT_TRUE(outcome.has(line));
      at = log.find(line, at);
      ASSERT_NE(at, std::string::npos) << line << log;
    }
    EXPECT_EQ(log.find("WrapperMain()"), log.rfind("WrapperMain()"));
  }
}

TEST_F(Launch, ExportedVariablesReachTheApplicationHoweverTheProgramWasStarted) {
  kvf(fakeJava() + "velox.env.PROBE=%kvf.file.dir%:1\nprocessID.file.name=" + sandbox_.path("pid") +
      "\n");
  fs::create_directory(sandbox_.path("bin"));
  fs::copy_file(VELOX_WRAPPER, sandbox_.path("bin/svc"));
  fs::create_symlink("bin/svc", sandbox_.path("link"));
  const std::string bin = sandbox_.path("bin");
  for (const std::string& program :
       {std::string("svc"), std::string("./bin/svc"), std::string("./link"), bin + "/svc"}) {
    SCOPED_TRACE(program);
    for (const bool directoryIsGone : {false, true}) {
      if (directoryIsGone && program[0] == '.') continue;
      const Outcome outcome = sandbox_.run(
          {program, "--propFile", sandbox_.path("app.kvf"), "--cmdlineJava", "--pid", "--debug"},
          {.environment = {{"PATH", bin + ":/usr/bin:/bin"}},
           .program = program == "svc" ? bin + "/svc" : program,
           .inChild = [&] {
             if (!directoryIsGone) return;
             ::mkdir("gone", 0777);
             if (::chdir("gone") == 0) ::rmdir("../gone");
           }});
      EXPECT_EQ(outcome.status, 0);
      EXPECT_TRUE(outcome.has("env[" + sandbox_.path() + ":1]")) << outcome.out;
      EXPECT_TRUE(outcome.has("\napplication.processid=" + sandbox_.read("pid") + "\n"));
      const std::string mark = "about to call execvp()";
      EXPECT_TRUE(outcome.has(mark));
      EXPECT_EQ(outcome.out.find(mark), outcome.out.rfind(mark));
    }
  }
}

TEST_F(Launch, ReExecutionThatCannotHappenIsFatal) {
  kvf(fakeJava() + "velox.env.PROBE=1\n");
  sandbox_.write("plain", "");
  const auto start = [&](const std::string& name, int count) {
    Arguments arguments = {name, "--propFile", "app.kvf", "--cmdlineJava"};
    arguments.resize(static_cast<std::size_t>(count), "x");
    return sandbox_.run(arguments, {.program = VELOX_WRAPPER});
  };
  const std::string failed = "Failed to exec process : ";
  const std::pair<std::string, std::string> names[] = {
      {"/gone/svc", "No such file or directory : /gone/svc\n"},
      {"./plain", "Permission denied : ./plain\n"}};
  for (const auto& [name, reason] : names) {
    const Outcome outcome = start(name, 4);
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(outcome.out, failed + reason);
  }
  EXPECT_EQ(start(VELOX_WRAPPER, 1022).status, 0);
  const Outcome outcome = start(VELOX_WRAPPER, 1023);
  EXPECT_EQ(outcome.status, 255);
  EXPECT_EQ(outcome.out.substr(0, failed.size() + 14), failed + "1023 arguments");
  EXPECT_TRUE(wrapper({"--innerProcess", "--cmdlineJava"}).has("env[]"));
}

TEST_F(Launch, NothingOfTheWrapperStaysOpenInOtherPrograms) {
  const std::string list = sandbox_.write("list", "#!/bin/sh\nexec ls /proc/self/fd\n", true);
  kvf("java.path=" + list + "\njava.start.class=M\nvelox.env.A=1\nprocessID.file.name=pid\n");
  const std::string own = sandbox_.run({list}).out;
  const std::string out = wrapper({"--debug", "--cmdlineJava"}).out;
  EXPECT_EQ(out.substr(out.size() - own.size()), own) << out;
  // A closed standard output is no place for the next file to be opened.
  EXPECT_EQ(wrapper({"--cmdlineJava"}, {.inChild = [] { ::close(STDOUT_FILENO); }}).status, 0);
  EXPECT_EQ(sandbox_.read("pid").find_first_not_of("0123456789"), std::string::npos);
}

TEST_F(Launch, TheAdjusterDecidesWhichFileIsUsed) {
  struct Case {
    std::string status, adjusted, out;
    int result;
  };
  const std::string adjusterArgs =
      "arg[-wrapper]\narg[-file]\narg[" + sandbox_.path("app.kvf") + "]\n";
  const std::string missing =
      "Failed to open properties file : " + sandbox_.path("app.kvf") + ".adj\n";
  const std::string app = "application.library=" + library(3) + "\n";
  const Case cases[] = {
      {"0", app + "application.args=adjusted", "arg[adjusted]\n", 0},
      {"0", "", "Failed to open properties file : app.kvf.adj\n", 255},
      {"crash", "", "Failed to open properties file : app.kvf.adj\n", 255},
      {"65", "", "arg[original]\n", 65},
      {"3", "", "Adjustment failed.\n", 255},
  };
  kvf(app + "velox.adjuster.class.path=x\napplication.args=original\n");
  for (const Case& row : cases) {
    SCOPED_TRACE(row.status);
    fs::remove(sandbox_.path("app.kvf.adj"));
    const Outcome outcome =
        wrapper({}, {.environment = {{"STATUS", row.status}, {"ADJUSTED", row.adjusted}}});
    EXPECT_EQ(outcome.status, row.result);
    EXPECT_TRUE(outcome.has(adjusterArgs)) << outcome.out;
    EXPECT_TRUE(outcome.has(row.out)) << outcome.out;
  }
  // A command that only Windows carries out still "succeeds" in the child.
  EXPECT_EQ(wrapper({"--install"}).out,
            "registered\n    --install is only for windows\n3 closed at the end\n"
            "Failed to open properties file : app.kvf.adj\n");
}

TEST_F(Launch, AnAdjustedJavaRunIsRecordedUnderTheParentsId) {
  const std::string java = probe() + "velox.env.PROBE=1\nprocessID.file.name=pid\n";
  sandbox_.write("app.kvf.adj", java + "application.args=adjusted\n");
  kvf(java + "velox.adjuster.class.path=" VELOX_ADJUSTER_JAR "\njava.property.colour=grey\n");
  const Outcome outcome = WrapperTest::java({"--run"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has("pid[" + sandbox_.read("pid") + "]")) << outcome.out;
  EXPECT_NE(sandbox_.read("app.kvf.adj").find("colour=green"), std::string::npos);
}

TEST_F(Launch, NativeLibrariesSupplyTheEntryPointsTogether) {
  struct Case {
    std::string libraries, out;
    int status;
  };
  const std::string lost = "Failed to load shared library, library name : ";
  const std::string entry = "Failed to load shared lib procedure entry point \"";
  const Case cases[] = {
      {library(3), "registered\narg[x]\n3 closed early\n", 5},
      {library(3) + ":/never/opened.so", "registered\narg[x]\n3 closed early\n", 5},
      {library(0) + ":" + library(1) + ":" + library(2),
       "registered\narg[x]\n1 closed early\n2 closed early\n0 closed at the end\n", 5},
      {library(1), entry + "pAppStop\"\n1 closed early\n", 255},
      {library(2), entry + "AppMain\"\n2 closed early\n", 255},
      {library(3) + ".none:x",
       "Lib name " + library(3) + ".none:x\n" + lost + library(3) + ".none\n", 255},
      // An empty element names the program itself, which supplies nothing.
      {library(1) + "::" + library(2), "registered\narg[x]\n1 closed early\n2 closed early\n", 5},
      {"./app.kvf", "Lib name ./app.kvf\n" + lost + "./app.kvf\n", 255},
  };
  const std::string pidFile = sandbox_.path("pid");
  for (const Case& row : cases) {
    kvf("application.library=" + row.libraries + "\nvelox.env.A=1\nprocessID.file.name=" + pidFile);
    const Outcome outcome =
        wrapper({"x"}, {.environment = {{"STATUS", "5"}, {"PID_FILE", pidFile}}});
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_EQ(sandbox_.exists("pid"), row.status == 255);
  }
}

TEST_F(Launch, KillExplainsItself) {
  const std::string file = sandbox_.path("pid");
  const std::string cannot =
      "Process cannot be killed because its process ID file \"" + file + "\"";
  const pid_t ended = ::fork();
  if (ended == 0) ::_exit(0);
  waitFor(ended);
  const std::string gone = std::to_string(ended);
  const auto victim = [&] { return sandbox_.start({"sleep", "100"}, {}, "/dev/null"); };
  struct Case {
    std::string content, type, out;
    int status;
    bool fileStays;
  };
  const Case cases[] = {
      {"", "Abort", cannot + " is empty\n", 1, true},
      {"12\n", "Abort", cannot + " contains an invalid process ID \"12\n\".\n", 1, true},
      {"12a", "term", cannot + " contains an invalid process ID \"12a\".\n", 1, true},
      {gone, "term", "Invalid kill type \"term\".  Valid types are \"abort\" and \"normal\". \n", 1,
       true},
      {gone, "Abort", cannot + "  contains a nonexistent process ID \"" + gone + "\".\n", 0, true},
      {"99999999999", "Abort", cannot + "  contains a nonexistent process ID \"999999999\".\n", 0,
       true},
      {"1", "Normal", cannot + " contains a process ID \"1\" that is owned by a different user.\n",
       0, true},
  };
  kvf("processID.file.name=" + file + "\n");
  for (const Case& row : cases) {
    sandbox_.write("pid", row.content);
    const Outcome outcome = wrapper({"--kill", row.type}, {.asNobody = true});
    EXPECT_EQ(outcome.out, row.out) << row.content;
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_TRUE(sandbox_.exists("pid"));
  }
  for (const auto& [type, signal] : {std::pair("ABORT", SIGKILL), std::pair("Normal", SIGINT)}) {
    const pid_t child = victim();
    sandbox_.write("pid", std::to_string(child));
    EXPECT_EQ(wrapper({"--kill", type}).out, "");
    EXPECT_EQ(waitFor(child), 128 + signal);
    EXPECT_FALSE(sandbox_.exists("pid"));
  }
  EXPECT_EQ(wrapper({"--kill", "Abort"}).out,
            "Process cannot be killed because its process ID file \" " + file +
                " \" cannot be read or contains invalid data\n");
  fs::create_directory(file);
  EXPECT_EQ(wrapper({"--kill", "Abort"}).out, cannot + " is empty\n");
  kvf("wrapper.command=--kill\nprocessID.file.name=" + sandbox_.write("stays", gone) + "\n");
  EXPECT_EQ(wrapper({}).out, "");
  kvf("");
  EXPECT_EQ(wrapper({"--kill", "Abort"}).out,
            "Process cannot be killed because its KVF file does not define a "
            "\"processID.file.name\" property.\n");
}

}  // namespace
