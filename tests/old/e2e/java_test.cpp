#include <algorithm>
#include <regex>

#include "e2e/WrapperTest.h"
#include "support/Properties.h"

namespace {

class Java : public WrapperTest {};

TEST_F(Java, EndsWithTheApplicationsStatus) {
  const std::string badClass = "Unable to find the start class\n";
  const std::string noLibrary = "Failed to load shared library, library name : ";
  // The texts are all in the output.
  const std::tuple<std::string, int, std::string> cases[] = {
      {"property.probe.do=return", 0, "returning"},
      {"property.probe.do=exit:7", 7, ""},
      {"property.probe.do=throw", 1,
       "WRAPPER - start method threw an exception\n|IllegalStateException: thrown on purpose"},
      {"property.probe.do=thread", 0, "returning\nthread ends\n"},
      {"start.class=probe/Probe\njava.start.method=other", 0, "other start method"},
      {"start.method=notStatic", 255,
       "Failed to find the static method \"notStatic\" specified for the start class "
       "\"probe/Probe\" - please check the properties file for accuracy and retry\n|"
       "NoSuchMethodError|Unable to find the static start method for the start class\n"},
      {"start.class=no.Such", 255,
       "Failed to find the start class, \"no/Such\" - bad classpath?\n|NoClassDefFoundError|" +
           badClass},
      {"start.class=probe.Probe$Failing", 255, "NumberFormatException: For input|" + badClass},
      {"start.class=", 255, badClass},
      {"heap.size.max=lots", 255, "Failed to create the Java VM\n"},
      {"library=/no/such/libjvm.so", 255, "Lib name libjvm.so\n"},
      {"library=", 255, "The property java.library can not be empty !\n" + noLibrary + "\n"},
      {"library=app.kvf", 255, "Lib name app.kvf\n" + noLibrary + "app.kvf\n"},
      {"library=" + library(0), 255,
       "Shared Library load failed for function name \"JNI_CreateJavaVM\"\n"},
  };
  for (const auto& [properties, status, out] : cases) {
    SCOPED_TRACE(properties);
    kvf(probe() + "java." + properties + "\n");
    const Outcome outcome = java("--run");
    EXPECT_EQ(outcome.status, status) << outcome;
    for (const std::string& text : split(out)) EXPECT_TRUE(outcome.has(text)) << outcome;
  }
  kvf("java.library=" VELOX_JVM_LIBRARY "\n");
  EXPECT_TRUE(java("").has("No java.start.class specified in config - bad properties file?\n"));
}

TEST_F(Java, TheThreeLaunchWaysHandOverTheSame) {
  // What the fixed layout of a script can carry and what not.
  const Texts scriptable = split(
      "plain|two words|a=b=c|naïve café|\xF0\x9F\x98\x80 beyond the BMP|--looks-like-a-switch");
  const Texts others = split(R"(single'quote|double"quote|$HOME `x` \||-x:y;z|)"
                             "malformed \x80\xE2\x82\xED\xA0\x80!");
  const auto comparable = [](const Outcome& outcome) {
    return std::to_string(outcome.status) +
           std::regex_replace(outcome.out, std::regex("pid\\[\\d+"), "pid[");
  };
  const auto check = [&](const std::string& value, bool script) {
    SCOPED_TRACE(value);
    const std::string escaped = std::regex_replace(value, std::regex(R"(\\)"), R"(\\)");
    // A script can neither assign two words nor export the right name for a value with "=".
    const bool isSimple = value.find_first_of(" =") == std::string::npos || !script;
    const std::string variable = isSimple ? escaped : "simple";
    kvf(probe() + "java.path=" VELOX_JAVA "\napplication.args=first \"second one\"\n" +
        "java.property.probe.value=" + escaped + "\nvelox.env.PROBE=" + variable + "\n");
    // Everything with two dashes is a switch to the wrapper.
    const std::string argument = value.starts_with("--") ? "" : value + "|";
    const Outcome hosted = java("--run|" + argument);
    EXPECT_TRUE(hosted.has("arg[first]\narg[second one]\n")) << hosted.out;
    if (value.find('\x80') == std::string::npos) {
      EXPECT_TRUE(hosted.has("property[" + value + "]")) << hosted.out;
      EXPECT_EQ(hosted.has("arg[" + value + "]"), !argument.empty()) << hosted.out;
    }
    EXPECT_EQ(comparable(java("--cmdlineJava|" + argument)), comparable(hosted));
    if (!script) return;
    EXPECT_EQ(java(argument + "--generateScript").status, 0);
    for (const std::string shell : {"dash|", "bash|", "./"}) {
      EXPECT_EQ(comparable(sandbox_.run(shell + "app.script.sh")), comparable(hosted));
    }
  };
  for (const std::string& value : scriptable) check(value, true);
  for (const std::string& value : others) check(value, false);
}

TEST_F(Java, BothLaunchWaysPassTheSameOptions) {
  std::string properties = probe() + fakeJava() + "java.start.class=probe.Probe\n" +
                           "java.extended.properties=-XX:+UseSerialGC -Dquoted=\"a b\" -Djoined c\n"
                           "java.library.path=/my lib\njava.heap.size.max=64m\n"
                           "java.heap.size.min=8m\njava.heap.size.initial=16m\n"
                           "java.thread.stack.size=512k\n";
  for (int i = 0; i < 60; ++i) properties += "java.property.p" + std::to_string(i) + "=v\n";
  kvf(properties);
  // The properties come first, in the order of the set; the set of the hosted JVM is a copy.
  const auto options = [](const Outcome& outcome, const char* pattern) {
    const std::string out = std::regex_replace(outcome.out, std::regex("processid=\\d+"), "pid");
    const std::regex option(pattern);
    Texts list(std::sregex_token_iterator(out.begin(), out.end(), option, 1), {});
    std::sort(list.begin(), std::find(list.begin(), list.end(), "-XX:+UseSerialGC"));
    EXPECT_EQ(list.size(), 72U);
    return joined(list);
  };
  EXPECT_EQ(options(java("--debug"), "Option .* = \"(-.*)\"\n"),
            options(java("--cmdlineJava"), "(-.*)\n"));
}

TEST_F(Java, ScriptsGoByTheirPropertiesFile) {
  sandbox_.write("conf/app.kvf", "java.start.class=Main\njava.path=/j d/java\nvelox.env.A=1\n");
  sandbox_.write("app.props", "java.path=x\njava.start.class=Main");
  const auto generate = [&](const std::string& file, const std::string& directory) {
    Outcome outcome = sandbox_.run(
        VELOX_WRAPPER "|--propFile|" + file + "|--innerProcess|--generateScript",
        {.asNobody = true, .inChild = [&] { std::filesystem::current_path(directory); }});
    EXPECT_EQ(outcome.status, 0);
    return outcome;
  };
  const Outcome written = generate("conf/app.kvf", ".");
  EXPECT_TRUE(written.has("\n envs set command is:\nA=1\nexport A\n\n")) << written;
  EXPECT_TRUE(written.out.ends_with("\njava run script created, file name is:\n" +
                                    sandbox_.path("app.script.sh") + "\n"));
  EXPECT_TRUE(std::regex_match(
      sandbox_.read("app.script.sh"),
      std::regex("#!/bin/sh\nA=1\nexport A\n\n\"/j d/java\" -Djava.class.path=\\. "
                 "-Dapplication.processid=\\d+ -Dwrapper.kvf.file=conf/app.kvf  Main")));
  generate("app.props", ".");
  EXPECT_EQ(sandbox_.read("app.props.script.sh").find("#!/bin/sh\n\nx -"), 0U);
  EXPECT_TRUE(
      generate(sandbox_.path("app.props"), "/proc")
          .out.ends_with(
              "\nerror,java run script created eror,file name is:\n/proc/app.props.script.sh\n"));
}

TEST_F(Java, ALargeClassPathReachesTheApplicationWhole) {
  for (int i = 0; i < 5000; ++i) sandbox_.write("lib/" + std::to_string(i) + " x.jar", "");
  kvf(probe() + "velox.class.path.extended=" VELOX_PROBE_JAR ";lib\n" +
      "velox.class.path.extended.max.lib.number=8192\n");
  const Outcome outcome = java("--run");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), ':'), 5002);
}

}  // namespace
