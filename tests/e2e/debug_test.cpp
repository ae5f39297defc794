#include <unistd.h>

#include "e2e/WrapperTest.h"

namespace {

const std::string located =
    "Properties file used is : app.kvf\nProperties file full path is : DIR/app.kvf\n";

/// What a launch shows that asks for an adjuster and needs none.
std::string unadjusted(const std::string& parsed) {
  return located + "Adjustment child process...\n" + located +
         "Adjustment child process --adjust...\n" + parsed +
         "Notifying parent process that adjustment is not necessary.\nWaited for adjustment.\n" +
         parsed + "WrapperMain()\nsetupSystemEnvironment()\n";
}

/// Everything that debugging shows, for each way of launching.
class Debugging : public WrapperTest {
 protected:
  void SetUp() override {
    if (!sandbox_.canLog()) GTEST_SKIP() << "the log file is another user's";
  }
  [[nodiscard]] Outcome debug(Texts arguments = {}) const {
    arguments.push_back("--debug");
    return plain(java(arguments)).withoutLine("Waiting for adjustment...\n");
  }
};

TEST_F(Debugging, AHostedJvm) {
  kvf("java.library=" + jvmLibrary() +
      "\njava.class.path=" VELOX_PROBE_JAR
      "\njava.start.class=probe.Probe\n"
      "java.extended.properties=-Xunknown\n");
  EXPECT_EQ(
      debug({"x"}),
      (Outcome{
          0,
          unadjusted(
              "app.kvf\nkey: java.library\nvalue: LIBJVM\nkey: java.class.path\nvalue: PROBE_JAR\n"
              "key: java.start.class\nvalue: probe.Probe\nkey: java.extended.properties\nvalue: "
              "-Xunknown\n") +
              R"(Using JNI versoin 1.6 on Unix
System PATH = "/usr/bin:/bin"
JNI Version = 65542
# options = 5
Option 0 = "-Xunknown"
Option 1 = "-Djava.class.path=PROBE_JAR"
Option 2 = "-Djava.library=LIBJVM"
Option 3 = "-Dapplication.processid=ID"
Option 4 = "-Dwrapper.kvf.file=DIR/app.kvf"
ignoreUnrecognized = JNI_TRUE
creationResult = 0
before CreateAppArgs
before CreateAppObjects
Found the static stop method on the start class
after CreateAppObjects
WRAPPER - About to call the start method on the start class
arg[x]
property[null]
env[null]
path[PROBE_JAR]
pid[ID]
directory[DIR]
returning
WRAPPER - Just returned from start method
)"}));
}

TEST_F(Debugging, AnAdjusterWithoutTheUsersOptions) {
  kvf("java.library=" + jvmLibrary() +
      "\nvelox.adjuster.class.path=" VELOX_ADJUSTER_JAR
      "\njava.property.user=1\njava.extended.properties=-Duser\njava.start.class=none.Such\n");
  const std::string out = debug().out;
  const std::size_t begin = out.find("Adjustment is necessary");
  const std::size_t end = out.find("Waited for adjustment.\n");
  ASSERT_LT(begin, end) << out;
  EXPECT_EQ(out.substr(begin, end - begin), R"(Adjustment is necessary; invoking adjuster.
WrapperMain()
setupSystemEnvironment()
Using JNI versoin 1.6 on Unix
System PATH = "/usr/bin:/bin"
JNI Version = 65542
# options = 4
Option 0 = "-Djava.class.path=ADJUSTER_JAR:"
Option 1 = "-Djava.library=LIBJVM"
Option 2 = "-Dapplication.processid=ID"
Option 3 = "-Dwrapper.kvf.file=DIR/app.kvf"
ignoreUnrecognized = JNI_TRUE
creationResult = 0
before CreateAppArgs
before CreateAppObjects
Unable to find the static stop method on the start class
WRAPPER - Clear the exception raised by not finding static stop method inside main class
after CreateAppObjects
WRAPPER - About to call the start method on the start class
)");
}

TEST_F(Debugging, AJavaChildUnderAnExportedEnvironment) {
  kvf(fakeJava() + "velox.env.PROBE=1\n");
  const std::string started = "WrapperMain()\nsetupSystemEnvironment()\n";
  // The child may print first.
  const Outcome launch = debug({"--cmdlineJava", "--pid"});
  EXPECT_TRUE(launch.has("Waiting for new process...\n"));
  EXPECT_EQ(launch.withoutLine("Waiting for new process...\n"),
            (Outcome{0, located +
                            "app.kvf\nkey: java.path\nvalue: DIR/java\nkey: java.start.class\n"
                            "value: Main\nkey: velox.env.PROBE\nvalue: 1\n"
                            "Setting env variable PROBE=1\n" +
                            started + "Parent Process - about to call execvp()\n" + located +
                            "app.kvf\n" + started +
                            "\napplication.processid=ID\n\nready to start  new process...\n\n"
                            "-Djava.class.path=.\n-Dapplication.processid=ID\n"
                            "-Dwrapper.kvf.file=DIR/app.kvf\nMain\nenv[1]\ndirectory[DIR]\n"}));
}

TEST_F(Debugging, ANativeApplication) {
  kvf("application.library=" + library(3) + "\n");
  const std::string debugged =
      unadjusted("app.kvf\nkey: application.library\nvalue: LIBS/libentry3.so\n");
  EXPECT_EQ(debug({"x"}), (Outcome{0, debugged + "registered\narg[x]\n3 closed at the end\n"}));
  const Outcome log = plain({0, sandbox_.read(sandbox_.logFile())});
  EXPECT_TRUE(log.has("Waiting for adjustment...\n"));
  EXPECT_EQ(log.withoutLine("Waiting for adjustment...\n"), (Outcome{0, debugged}));
}

TEST_F(Debugging, LibrariesThatCannotBeLoaded) {
  kvf("java.library=missing.so\n");
  const Outcome missing = debug();
  EXPECT_EQ(missing.status, 255);
  EXPECT_TRUE(
      missing.out.ends_with("Using system default JvmPath  ...\nlibjvm.so: cannot open shared "
                            "object file: No such file or directory\nLib name libjvm.so\nFailed to "
                            "load shared library, library name : libjvm.so\n"))
      << missing.out;
}

TEST_F(Debugging, BeginsTheLogAnewAndLogsNothingTwiceWhenStandardOutputIsClosed) {
  kvf("");
  std::ofstream(sandbox_.logFile()) << "former\n";
  EXPECT_EQ(wrapper({"--version"}).status, 0);
  EXPECT_EQ(sandbox_.read(sandbox_.logFile()), "former\n");
  EXPECT_EQ(wrapper({"--version", "--debug"}, {.inChild = [] { ::close(STDOUT_FILENO); }}),
            Outcome());
  EXPECT_EQ(plain({0, sandbox_.read(sandbox_.logFile())}),
            (Outcome{0, located + "app.kvf\nWrapperMain()\nsetupSystemEnvironment()\n"}));
}

}  // namespace
