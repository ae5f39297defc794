#include <algorithm>
#include <sstream>

#include "e2e/WrapperTest.h"

namespace {

class Java : public WrapperTest {};

TEST_F(Java, EndsWithTheApplicationsStatus) {
  struct Case {
    std::string properties;
    int status;
    std::vector<std::string> out;
  };
  const Case cases[] = {
      {"", 0, {"returning"}},
      {"java.property.probe.do=exit:7\n", 7, {}},
      {"java.property.probe.do=throw\n",
       1,
       {"WRAPPER - start method threw an exception\n", "IllegalStateException: thrown on purpose"}},
      {"java.property.probe.do=thread\n", 0, {"returning\nthread ends\n"}},
      {"java.start.class=probe/Probe\njava.start.method=other\n", 0, {"other start method"}},
      {"java.start.method=notStatic\n",
       255,
       {"Failed to find the static method \"notStatic\" specified for the start class "
        "\"probe/Probe\" - please check the properties file for accuracy and retry\n",
        "NoSuchMethodError", "Unable to find the static start method for the start class\n"}},
      {"java.start.class=no.Such\n",
       255,
       {"Failed to find the start class, \"no/Such\" - bad classpath?\n", "NoClassDefFoundError",
        "Unable to find the start class\n"}},
      {"java.start.class=probe.Probe$Failing\n",
       255,
       {"NumberFormatException: For input", "Unable to find the start class\n"}},
      {"java.start.class=\n", 255, {"Unable to find the start class\n"}},
      {"java.heap.size.max=lots\n", 255, {"Failed to create the Java VM\n"}},
      {"java.heap.size.max=16m\njava.heap.size.initial=32m\n",
       255,
       {"Failed to create the Java VM\n"}},
      {"java.library=/no/such/libjvm.so\n", 255, {"Lib name libjvm.so\n"}},
      {"java.library=\n",
       255,
       {"The property java.library can not be empty !\nFailed to load shared library, library name "
        ": \n"}},
      {"java.library=app.kvf\n",
       255,
       {"Lib name app.kvf\nFailed to load shared library, library name : app.kvf\n"}},
      {"java.library=" + library(0) + "\n",
       255,
       {"Shared Library load failed for function name \"JNI_CreateJavaVM\"\n"}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.properties);
    kvf(probe() + row.properties);
    const Outcome outcome = java({"--run"});
    EXPECT_EQ(outcome.status, row.status) << outcome.out;
    for (const std::string& text : row.out) EXPECT_TRUE(outcome.has(text)) << outcome.out;
  }
  kvf("java.library=" VELOX_JVM_LIBRARY "\n");
  EXPECT_TRUE(java({}).has("No java.start.class specified in config - bad properties file?\n"));
}

TEST_F(Java, TheThreeLaunchWaysHandOverTheSame) {
  struct Case {
    std::string value;
    bool script = true;  ///< the script's fixed layout can carry the value
  };
  const Case cases[] = {
      {"plain"},
      {"two words"},
      {"a=b=c"},
      {"single'quote", false},
      {R"(double"quote)", false},
      {"$HOME `x` \\", false},
      {"", false},
      {"naïve café"},
      {"\xF0\x9F\x98\x80 beyond the BMP"},
      {"--looks-like-a-switch"},
      {"-x:y;z", false},
      {"malformed \x80\xE2\x82\xED\xA0\x80!", false},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.value);
    std::string escaped;
    for (const char c : row.value) escaped += c == '\\' ? "\\\\" : std::string(1, c);
    // A script can neither assign two words nor export the right name for a value with "=".
    const std::string variable =
        row.value.find_first_of(" =") == std::string::npos || !row.script ? escaped : "simple";
    kvf(probe()
            .append("java.path=" VELOX_JAVA "\napplication.args=first \"second one\"\n")
            .append("java.property.probe.value=" + escaped)
            .append("\nvelox.env.PROBE=" + variable + "\n"));
    Arguments arguments = {"--run"};
    // Everything with two dashes is a switch to the wrapper.
    if (row.value.rfind("--", 0) != 0) arguments.push_back(row.value);
    const auto comparable = [](const Outcome& outcome) {
      const std::size_t pid = outcome.out.find("pid[");
      const std::size_t end = outcome.out.find('\n', pid);
      return std::to_string(outcome.status) + outcome.out.substr(0, pid) +
             (pid == std::string::npos ? "" : outcome.out.substr(end));
    };
    const Outcome hosted = java(arguments);
    EXPECT_TRUE(hosted.has("arg[first]\narg[second one]\n")) << hosted.out;
    if (row.value.find('\x80') == std::string::npos) {
      EXPECT_TRUE(hosted.has("property[" + row.value + "]")) << hosted.out;
      EXPECT_EQ(hosted.has("arg[" + row.value + "]"), arguments.size() > 1) << hosted.out;
    }
    arguments[0] = "--cmdlineJava";
    EXPECT_EQ(comparable(java(arguments)), comparable(hosted));
    if (!row.script) continue;
    arguments.erase(arguments.begin());
    arguments.push_back("--generateScript");
    EXPECT_EQ(java(arguments).status, 0);
    for (const char* shell : {"dash", "bash"}) {
      EXPECT_EQ(sandbox_.run({shell, "-n", "app.script.sh"}).out, "");
      EXPECT_EQ(comparable(sandbox_.run({shell, "app.script.sh"})), comparable(hosted)) << shell;
    }
    EXPECT_EQ(comparable(sandbox_.run({"./app.script.sh"})), comparable(hosted));
  }
}

TEST_F(Java, BothLaunchWaysPassTheSameOptions) {
  std::string properties = probe() + fakeJava() + "java.start.class=probe.Probe\n" +
                           "java.extended.properties=-XX:+UseSerialGC -Dquoted=\"a b\" -Djoined c\n"
                           "java.heap.size.max=64m\njava.heap.size.min=8m\n"
                           "java.heap.size.initial=16m\njava.thread.stack.size=512k\n"
                           "java.library.path=/my lib\n";
  for (int i = 0; i < 60; ++i) properties += "java.property.p" + std::to_string(i) + "=v\n";
  kvf(properties);
  const auto options = [](const Outcome& outcome, const std::string& before,
                          const std::string& after) {
    std::vector<std::string> list;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("-Dapplication.processid=", 0) == 0) line = "pid";
      if (line.rfind(before, 0) == 0 && line.size() >= after.size()) {
        const std::size_t start = before.empty() ? 0 : line.find('"') + 1;
        line = line.substr(start, line.size() - start - after.size());
        if (line.rfind("-Dapplication.processid=", 0) == 0) line = "pid";
        list.push_back(line);
      }
    }
    return list;
  };
  std::vector<std::string> hosted = options(java({"--debug"}), "Option ", "\"");
  std::vector<std::string> external = options(java({"--cmdlineJava"}), "", "");
  ASSERT_EQ(hosted.size(), 72U);
  EXPECT_EQ(external[hosted.size()], "probe.Probe");
  external.resize(hosted.size());
  // The properties come first, in the order of the set; the set of the hosted JVM is a copy.
  std::sort(hosted.begin(), hosted.begin() + 60);
  std::sort(external.begin(), external.begin() + 60);
  EXPECT_EQ(hosted, external);
}

TEST_F(Java, CommandLineRunReturnsTheRawWaitStatus) {
  struct Case {
    std::string properties;
    int status;
    std::string out;
  };
  const std::string script = sandbox_.write("die", "#!/bin/sh\nkill -9 $$\n", true);
  const Case cases[] = {
      {"java.start.class=\n", 255, "\nerror,java.start.class not setted in kvf file\n\n"},
      {"java.start.class=M\njava.path=/no/java\n", 0,
       "Failed to exec :No such file or directory\n"},
      {"java.start.class=M\njava.path=" + script + "\n", 9, ""},
      {"java.start.class=M\njava.path=false\n", 0, ""},
  };
  for (const Case& row : cases) {
    kvf(row.properties);
    const Outcome outcome = wrapper({"--cmdlineJava"});
    EXPECT_EQ(outcome.status, row.status) << row.properties;
    EXPECT_EQ(outcome.out, row.out);
  }
}

TEST_F(Java, ScriptsGoByTheirPropertiesFile) {
  const std::string properties = "java.start.class=Main\njava.path=/j d/java\nvelox.env.A=1\n";
  sandbox_.write("conf/app.kvf", properties);
  sandbox_.write("app.props", "java.path=x\njava.start.class=Main");
  const auto generate = [&](const std::string& file, const std::string& directory) {
    return sandbox_.run({VELOX_WRAPPER, "--propFile", file, "--innerProcess", "--generateScript"},
                        {.directory = directory, .asNobody = true});
  };
  Outcome outcome = generate("conf/app.kvf", sandbox_.path());
  const std::string text = sandbox_.read("app.script.sh");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.has("\n envs set command is:\nA=1\nexport A\n\n")) << outcome.out;
  EXPECT_TRUE(outcome.has("\njava run script created, file name is:\n" +
                          sandbox_.path("app.script.sh") + "\n"));
  EXPECT_EQ(text.substr(0, text.find("-Dapplication")),
            "#!/bin/sh\nA=1\nexport A\n\n\"/j d/java\" -Djava.class.path=. ");
  EXPECT_EQ(text.substr(text.find(" -Dwrapper")), " -Dwrapper.kvf.file=conf/app.kvf  Main");
  EXPECT_EQ(generate("app.props", sandbox_.path()).status, 0);
  EXPECT_EQ(sandbox_.read("app.props.script.sh").substr(0, 14), "#!/bin/sh\n\nx -");
  outcome = generate(sandbox_.path("app.props"), "/proc");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.has(
      "\nerror,java run script created eror,file name is:\n/proc/app.props.script.sh\n"));
}

TEST_F(Java, ALargeClassPathReachesTheApplicationWhole) {
  for (int i = 0; i < 5000; ++i) sandbox_.write("lib/" + std::to_string(i) + " x.jar", "");
  kvf(probe() + "velox.class.path.extended=" VELOX_PROBE_JAR ";lib\n" +
      "velox.class.path.extended.max.lib.number=8192\n");
  const Outcome outcome = java({"--run"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), ':'), 5002);
}

}  // namespace
