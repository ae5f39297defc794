#include "e2e/WrapperTest.h"

namespace {

const std::string banner =
    "\n\nVELOX Wrapper\nCopyright (c) 2026 the VELOX Wrapper authors.\nAll rights reserved.\n\n"
    "Version 2.4.6\n\n";

const Outcome version = {0, banner + "VELOX Wrapper, 2.4.6 V1 64bit\n\n"};

const Outcome usage = {0, banner + R"(
Usage:
    WRAPPER <command>

where <command> can be one of the following command switches:
    --propFile <fileName>
    --install, installs the wrapped application as a service
    --cleanInstall, installs the wrapped application as a service and will not register emppty value
    --uninstall, uninstalls a previously installed service
    --update, updates a previously installed wrapped application
      or installs if non-existing
    --start, starts a previously installed service
    --startSync, starts a previously installed service synchronously
    --restart, restarts service
    --stop, stops a running service
    --kill <Abort|Normal>, kill current Wrapper process )"
                                   R"(
    --run, runs the wrapped application as a console application
    --generateScript, generate java run script
    --cmdlineJava, run java program by command line
    --debug, shows debug information
    --silent, does not show error messagebox
    --query, queries the state of the service
    --propVar <name=value>, replaces the custom variable with its value
      *** The custom variable has to be set as %name% in the .kvf file.
    --delayStart, sets a delay time in milliseconds to run the application

)"};

Outcome onlyForWindows(const std::string& command) {
  return {0, "    " + command + " is only for windows\n"};
}

class Command : public WrapperTest {};

TEST_F(Command, HelpAndWhatIsUnknownShowTheUsage) {
  struct Row {
    std::string kvf;
    Texts arguments;
  };
  const Row rows[] = {
      {"", {"--help"}},
      {"", {"--run", "--bogus"}},
      {"wrapper.command=--cleanInstall\n", {"--silent"}},
      {"wrapper.command=unknown\n", {}},
  };
  for (const Row& row : rows) {
    kvf(row.kvf);
    EXPECT_EQ(plain(wrapper(row.arguments)), usage)
        << row.kvf << testing::PrintToString(row.arguments);
  }
}

TEST_F(Command, VersionIsShown) {
  kvf("");
  EXPECT_EQ(wrapper({"--version"}), version);
}

TEST_F(Command, OfTheFileIsReplacedByThatOfTheCommandLine) {
  kvf("wrapper.command=--version\n");
  EXPECT_EQ(wrapper({}), version);
  EXPECT_EQ(wrapper({"--stop"}), onlyForWindows("--stop"));
}

TEST_F(Command, OfWindowsIsOnlyAnnounced) {
  kvf("");
  for (const char* command : {"--install", "--uninstall", "--update", "--start", "--startSync",
                              "--stop", "--restart", "--query", "--ntservice"}) {
    EXPECT_EQ(wrapper({command}), onlyForWindows(command));
  }
}

TEST_F(Command, CmdlineJavaEndsWithTheRawStatusOfTheChild) {
  const std::string killed = sandbox_.write("killed", "#!/bin/sh\nkill -9 $$\n", true);
  struct Row {
    std::string java;
    Outcome outcome;
  };
  const Row rows[] = {
      {killed, {9, ""}},
      {"false", {0, ""}},
      {"/no/java", {0, "Failed to exec :No such file or directory\n"}},
  };
  for (const Row& row : rows) {
    kvf("java.start.class=Main\njava.path=" + row.java + "\n");
    EXPECT_EQ(wrapper({"--cmdlineJava"}), row.outcome) << row.java;
  }
}

TEST_F(Command, ThatNeedsAStartClassSaysSo) {
  const std::string missing = "\nerror,java.start.class not setted in kvf file\n\n";
  kvf("java.start.class=\n");
  EXPECT_EQ(wrapper({"--cmdlineJava"}), (Outcome{255, missing}));
  EXPECT_EQ(plain(wrapper({"--generateScript"})),
            (Outcome{255,
                     "\njava run option is:\n-Djava.class.path=. -Dapplication.processid=ID "
                     "-Dwrapper.kvf.file=DIR/app.kvf \n" +
                         missing}));
}

}  // namespace
