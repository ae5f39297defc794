#include "e2e/WrapperTest.h"

namespace {

class HostedJava : public WrapperTest {};

TEST_F(HostedJava, EndsWithTheApplicationsStatus) {
  struct Row {
    std::string action;
    Outcome outcome;
  };
  const std::string started =
      "property[null]\nenv[null]\npath[PROBE_JAR:]\npid[ID]\ndirectory[DIR]\n";
  const Row rows[] = {
      {"return", {0, started + "returning\n"}},
      {"exit:7", {7, started}},
      {"thread", {0, started + "returning\nthread ends\n"}},
  };
  for (const Row& row : rows) {
    kvf(probe() + "java.property.probe.do=" + row.action + "\n");
    EXPECT_EQ(plain(java({})), row.outcome) << row.action;
  }
}

TEST_F(HostedJava, CallsAnotherStartMethod) {
  kvf(probe() + "java.start.class=probe/Probe\njava.start.method=other\n");
  EXPECT_EQ(java({}), (Outcome{0, "other start method\n"}));
}

// The texts around a stack trace, whose lines are the JVM's own.
TEST_F(HostedJava, ReportsExceptionsAndWhatIsMissing) {
  struct Row {
    std::string property;
    int status;
    std::string first, trace, last;
  };
  const std::string noClass = "Unable to find the start class\n";
  const Row rows[] = {
      {"property.probe.do=throw", 1, "WRAPPER - start method threw an exception\n",
       "IllegalStateException: thrown on purpose\n", ""},
      {"start.method=notStatic", 255,
       "Failed to find the static method \"notStatic\" specified for the start class "
       "\"probe/Probe\" - please check the properties file for accuracy and retry\n",
       "NoSuchMethodError", "Unable to find the static start method for the start class\n"},
      {"start.class=no.Such", 255, "Failed to find the start class, \"no/Such\" - bad classpath?\n",
       "NoClassDefFoundError", noClass},
      {"start.class=probe.Probe$Failing", 255,
       "Failed to find the start class, \"probe/Probe$Failing\" - bad classpath?\n",
       "NumberFormatException", noClass},
      {"heap.size.max=lots", 255, "", "Invalid maximum heap size",
       "Failed to create the Java VM\n"},
  };
  for (const Row& row : rows) {
    kvf(probe() + "java." + row.property + "\n");
    const Outcome outcome = java({});
    EXPECT_EQ(outcome.status, row.status) << row.property;
    EXPECT_TRUE(outcome.has(row.first)) << row.property;
    EXPECT_TRUE(outcome.has(row.trace)) << row.property;
    EXPECT_TRUE(outcome.out.ends_with(row.last)) << row.property << outcome.out;
  }
}

TEST_F(HostedJava, NamesTheLibraryThatItCannotUse) {
  const std::string lost = "Failed to load shared library, library name : ";
  struct Row {
    std::string library, out;
  };
  const Row rows[] = {
      {"/no/such/libjvm.so", "Lib name libjvm.so\n" + lost + "libjvm.so\n"},
      {"", "The property java.library can not be empty !\n" + lost + "\n"},
      {"app.kvf", "Lib name app.kvf\n" + lost + "app.kvf\n"},
      {library(0),
       "Shared Library load failed for function name \"JNI_CreateJavaVM\"\n"
       "0 closed at the end\n"},
  };
  for (const Row& row : rows) {
    kvf("java.library=" + row.library + "\n");
    EXPECT_EQ(java({}), (Outcome{255, row.out})) << row.library;
  }
}

TEST_F(HostedJava, NeedsAStartClass) {
  kvf("java.library=" + jvmLibrary() + "\n");
  EXPECT_EQ(java({}),
            (Outcome{255, "No java.start.class specified in config - bad properties file?\n"}));
}

/// The same values through every way of launching Java.
class LaunchWays : public WrapperTest {
 protected:
  /// What the probe shows that gets the arguments, and the value as property and variable.
  static Outcome shown(const Texts& arguments, const std::string& value) {
    std::string out;
    for (const std::string& argument : arguments) out += "arg[" + argument + "]\n";
    return {0, out + "property[" + value + "]\nenv[" + value +
                   "]\npath[PROBE_JAR:]\npid[ID]\ndirectory[DIR]\nreturning\n"};
  }
};

TEST_F(LaunchWays, PassOnEveryArgument) {
  const std::string value = "two words a=b naïve \xF0\x9F\x98\x80 'x' \"y\" $HOME `x` -x:y;z";
  kvf(probe() + "java.path=" + javaProgram() + "\napplication.args=first \"second one\"\n" +
      "java.property.probe.value=" + value + "\nvelox.env.PROBE=" + value + "\n");
  const Texts arguments = {value, "\\||", ""};
  const Outcome expected = shown({"first", "second one", value, "\\||", ""}, value);
  EXPECT_EQ(plain(java(arguments)), expected);
  EXPECT_EQ(plain(java({"--cmdlineJava", value, "\\||", ""})), expected);
}

TEST_F(LaunchWays, ReplaceMalformedTextAlike) {
  kvf(probe() + "java.path=" + javaProgram() + "\n");
  const std::string malformed = "malformed \x80\xE2\x82\xED\xA0\x80!";
  EXPECT_EQ(plain(java({"--run", malformed})), plain(java({"--cmdlineJava", malformed})));
}

TEST_F(LaunchWays, ScriptsHandOverWhatTheyCanQuote) {
  const std::string value = "naïve\xF0\x9F\x98\x80";
  const Texts arguments = {"two words", "a=b", value};
  kvf(probe() + "java.path=" + javaProgram() + "\njava.property.probe.value=" + value +
      "\nvelox.env.PROBE=" + value + "\n");
  EXPECT_EQ(java({"two words", "a=b", value, "--generateScript"}).status, 0);
  for (const Texts& line : {Texts{"./app.script.sh"}, {"bash", "app.script.sh"}}) {
    EXPECT_EQ(plain(sandbox_.run(line)), shown(arguments, value)) << line[0];
  }
}

class Script : public WrapperTest {
 protected:
  [[nodiscard]] Outcome generate(const std::string& file,
                                 const std::string& directory = ".") const {
    return plain(
        wrapper({"--propFile", file, "--innerProcess", "--generateScript"},
                {.asNobody = true, .inChild = [&] { std::filesystem::current_path(directory); }}));
  }
};

TEST_F(Script, IsShownAndWritten) {
  sandbox_.write("conf/app.kvf",
                 "java.start.class=Main\njava.path=/j d/java\nvelox.env.A=1\napplication.args=x\n");
  const std::string options =
      "-Djava.class.path=. -Dapplication.processid=ID -Dwrapper.kvf.file=conf/app.kvf ";
  const std::string environment = "A=1\nexport A\n";
  const std::string command = "\"/j d/java\" " + options + " Main x ";
  EXPECT_EQ(generate("conf/app.kvf"),
            (Outcome{0, "\njava run option is:\n" + options + "\n\n envs set command is:\n" +
                            environment + "\n\nfull java run cmd is:\n" + command +
                            "\n\njava run script created, file name is:\nDIR/app.script.sh\n"}));
  EXPECT_EQ(plain({0, sandbox_.read("app.script.sh")}).out,
            "#!/bin/sh\n" + environment + "\n" + command);
  EXPECT_EQ(std::filesystem::status(sandbox_.path("app.script.sh")).permissions(),
            static_cast<std::filesystem::perms>(0755));
}

TEST_F(Script, HasTheNameOfItsPropertiesFile) {
  const std::pair<const char*, const char*> rows[] = {
      {"app.props", "app.props.script.sh"},
      {"a.kvf.d/app.kvf", "app.kvf.script.sh"},
      {"app.kvf.old.kvf", "app.script.sh"},
  };
  for (const auto& [file, script] : rows) {
    sandbox_.write(file, "java.path=x\njava.start.class=Main");
    EXPECT_EQ(generate(file).status, 0) << file;
    EXPECT_EQ(sandbox_.read(script).find("#!/bin/sh\n\nx -"), 0U) << file;
  }
}

TEST_F(Script, ThatCannotBeWrittenIsReported) {
  const std::string file = sandbox_.write("app.kvf", "java.start.class=Main\n");
  EXPECT_TRUE(generate(file, "/proc")
                  .out.ends_with(
                      "\nerror,java run script created eror,file name is:\n/proc/app.script.sh\n"));
}

}  // namespace
