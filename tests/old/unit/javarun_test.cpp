#include <cstdlib>
#include <regex>

#include <gtest/gtest.h>
#include <unistd.h>

#include "foundation/PathList.h"
#include "hosting/ModifiedUtf8.h"
#include "hosting/ServiceWrapper.h"
#include "javarun/ArgumentSplitter.h"
#include "javarun/CommonTool.h"
#include "javarun/ExtendedOptions.h"
#include "javarun/JavaCmdLineRunUtil.h"
#include "javarun/JavaParameterParserUtil.h"
#include "launcher/LegacyScript.h"
#include "launcher/ProcessEnvironment.h"
#include "support/Properties.h"
#include "support/Run.h"

namespace {

TEST(ArgumentSplitter, EachLaunchWayHasItsRules) {
  const char* const cases[][4] = {
      {" x\t\r\n\"y z\" w ", "x|y z|w|", "x|y z|w|", "x|y z|w|"},
      {R"("a " "open x)", "a |open x|", "a |open x|", "a |open x|"},
      {R"(a "" b)", "a||b|", "a|b|", "a||b|"},
      {R"("")", "|", "", "|"},
      {R"(""c)", "|c|", "c|", "|c|"},
      {R"(a"b)", "ab|", "ab|", R"(a"b|)"},
      {R"(a"b c"d)", "ab|cd|", "ab|cd|", R"(a"b|c"d|)"},
      {R"("a b"c d)", "a bc|d|", "a bc|d|", "a b|d|"},
      {R"("a b"c"d e)", "a bcd|e|", "a bcd|e|", "a b|e|"},
      {"\"", "", "", ""},
      {"", "", "", ""},
  };
  for (const auto& [text, hosted, external, native] : cases) {
    EXPECT_EQ(joined(splitArguments(text, LaunchWay::hostedJava)), hosted) << text;
    EXPECT_EQ(joined(splitArguments(text, LaunchWay::externalJava)), external) << text;
    EXPECT_EQ(joined(splitArguments(text, LaunchWay::nativeLibrary)), native) << text;
  }
}

TEST(ArgumentSplitter, CommandLineArgumentsStayWholeUpToTheFirstGap) {
  const SimpleProperties properties = propertiesOf(
      "application.args=f;commandline.argv.0=prog;commandline.argv.1=a b;commandline.argv.3=lost");
  EXPECT_EQ(joined(applicationArguments(properties, LaunchWay::hostedJava)), "f|a b|");
  int argc = 0;
  char** argv = nullptr;
  CreateArgs(properties, argc, argv);
  EXPECT_EQ(joined(Texts(argv, argv + argc)), "prog|a b|f|");
  EXPECT_EQ(argv[argc], nullptr);
  DestroyArgs(argc, argv);
  CreateArgs(SimpleProperties(), argc, argv);
  EXPECT_EQ(argv, nullptr);
  DestroyArgs(argc, argv);
}

TEST(ExtendedOptions, AreSplitAndJoinedWithTheirValues) {
  const char* const cases[][2] = {
      {"-Df bar", "-Df=bar|"},   {R"(-Xmx5 -Dn "a b" -srv)", "-Xmx5|-Dn=a b|-srv|"},
      {R"(-Dn="")", "-Dn=|"},    {R"(-Da=" x -Db y "-c)", "-Da= x -Db y |"},
      {R"(-Dn=""x)", "-Dn=|"},   {R"(-a "b c" -d "e f" g)", "-a=b c|-d=e f|"},
      {R"(-a="x"y)", "-a=x|"},   {R"(-Da="x y" -Db=1)", "-Da=x y|-Db=1|"},
      {"abc-def", "-def|"},      {"-Xmx512m -verbose", "-Xmx512m|-verbose|"},
      {"junk -srv", "-srv|"},    {R"(-Da"b c"=d e -fgh)", "-Dab c|-fgh|"},
      {"-a  -b", "-a=|-b|"},     {R"(-Dn "unclosed b)", "-Dn=unclosed b|"},
      {"-ab ", "-ab|"},          {R"(-Da="unclosed b)", "-Da=unclosed=b|"},
      {"-a\t-b c", "-a\t-b=c|"},
  };
  for (const auto& [line, options] : cases) EXPECT_EQ(joined(splitExtendedOptions(line)), options);
  EXPECT_TRUE(splitExtendedOptions("").empty());
}

TEST(ModifiedUtf8, HoldsNothingThatJniCannotTake) {
  // In the result "?" stands for the replacement character.
  const char* const cases[][2] = {
      {"\xC3\xA9 \xE2\x82\xAC!", "\xC3\xA9 \xE2\x82\xAC!"},    {"plain", "plain"},
      {"\xF0\x9F\x98\x80!", "\xED\xA0\xBD\xED\xB8\x80!"},      {"\xE2\x82", "?"},
      {"\xF4\x8F\xBF\xBF", "\xED\xAF\xBF\xED\xBF\xBF"},        {"\xED\xA0", "?"},
      {"\x80 \xC0\x80 \xE2\x82x \xE0\x80\x80", "? ?? ?x ???"}, {"\xF0\x9F\x98", "?"},
      {"\xED\xA0\x80 \xF4\x90\x80\x80 plain", "? ???? plain"},
  };
  for (const auto& [utf8, modified] : cases) {
    EXPECT_EQ(toModifiedUtf8(utf8).view(),
              std::regex_replace(modified, std::regex("[?]"), "\xEF\xBF\xBD"));
  }
}

TEST(ClassPath, LimitsAreCheckedLevelFirst) {
  const std::string level = "velox.class.path.extended.search.level=";
  const std::string number = ";velox.class.path.extended.max.lib.number=";
  const auto init = [](const std::string& properties) {
    return inChild([&] {
      CommonConfig::initConfig(propertiesOf(properties));
      std::printf("%d %d", CommonConfig::searchLevel, CommonConfig::libNumberOfOnePath);
    });
  };
  EXPECT_EQ(init(""), (Outcome{0, "4 4096"}));
  EXPECT_EQ(init(level + "12" + number + "8192x"), (Outcome{0, "12 8192"}));
  for (const std::string& bad : split("0|13|deep||-1|99999999999999999999")) {
    EXPECT_EQ(init(std::string(level).append(bad) + number + "0"),
              (Outcome{255, "extend class path search level not validate\n"}));
  }
  EXPECT_EQ(init(number + "8193").out, "extend class path max lib number not validate\n");
}

TEST(ClassPath, DirectoriesExpandToTheirArchives) {
  Sandbox sandbox;
  const Texts files = split("a.jar|b c.zip|c.class|x.jar.bak|UP.JAR|two/d.jar|two/in/in/e.jar");
  for (const std::string& name : files) sandbox.write(name, "");
  const std::string lib = sandbox.path();
  std::filesystem::create_symlink(lib + "/a.jar", lib + "/link.jar");
  std::filesystem::create_symlink(lib, lib + "/two/loop");
  const javaparser::JavaParameterParser parser{SimpleProperties()};
  const auto expand = [&](const std::string& classPath) {
    Texts parts = split(parser.expandClassPath(classPath.c_str()).c_str(), ':');
    std::sort(parts.begin(), parts.end());
    return joined(parts);
  };
  EXPECT_EQ(expand(lib), lib + "|" + lib + "/a.jar|" + lib + "/b c.zip|");
  CommonConfig::searchLevel = 3;
  const std::string three =
      lib + "/**|" + lib + "/a.jar|" + lib + "/b c.zip|" + lib + "/two/d.jar|";
  EXPECT_EQ(expand(lib + "/**"), three);
  CommonConfig::searchLevel = 4;
  EXPECT_EQ(expand(lib + "/**"), three + lib + "/two/in/in/e.jar|");
  CommonConfig::libNumberOfOnePath = 2;
  EXPECT_EQ(split(expand(lib + "/**")).size(), 3U);
  CommonConfig::libNumberOfOnePath = 4096;

  const char* const texts[][2] = {
      {"lib/a.jar;lib/b.zip", "lib/a.jar:lib/b.zip:"}, {"**", "**:"},
      {"::a.class/;;nowhere/:", "a.class:nowhere:"},   {"/", ""},
      {"lib/x.jar.folder\\", "lib/x.jar.folder:"},     {"", ""},
  };
  for (const auto& [path, expanded] : texts) EXPECT_EQ(parser.expandClassPath(path), expanded);
  EXPECT_EQ(joined(CommonTool::splitEx("a::b:", ":")), "a||b|");
  EXPECT_EQ(joined(CommonTool::splitEx("-->a", "-->")), "|a|");
}

TEST(JavaRunOptions, ComeInTheirFixedOrder) {
  const SimpleProperties properties = propertiesOf(
      "java.property.p=v w;java.extended.properties=-server;java.class.path=c/;java.library=l;"
      "java.library.path=p;java.heap.size.max=;java.heap.size.min=6;java.heap.size.initial=3;"
      "java.thread.stack.size=4;wrapper.kvf.file=k");
  const std::string pid = "-Dapplication.processid=" + std::to_string(::getpid()) + "|";
  const std::string fixed =
      "-Djava.class.path=c/|-Djava.library=l|-Djava.library.path=p|-Xmx|-Xmn6|-Xms3|-Xss4|" + pid;
  const javaparser::JavaParameterParser parser(properties);
  EXPECT_EQ(joined(javaparser::getAllJavaRunOption(parser)),
            "-Dp=v w|-server|" + fixed + "-Dwrapper.kvf.file=k|");
  EXPECT_EQ(joined(javaparser::getAllJavaRunOption(parser, {false, "bin"})),
            fixed + "-Dwrapper.binary.path=bin|-Dwrapper.kvf.file=k|");

  const char* const classPaths[][3] = {
      {nullptr, "", "."},
      {"", "", ""},
      {"env", "", "env"},
      {"env", "java.class.path=", ""},
      {"env", "java.class.path=x;velox.class.path.extended=a.jar", "a.jar:"},
  };
  for (const auto& [inherited, texts, classPath] : classPaths) {
    inherited == nullptr ? ::unsetenv("CLASSPATH") : ::setenv("CLASSPATH", inherited, 1);
    const SimpleProperties set = propertiesOf(texts);
    EXPECT_EQ(joined(javaparser::getAllJavaRunOption(javaparser::JavaParameterParser(set))),
              std::string("-Djava.class.path=") + classPath + "|" + pid);
  }
}

TEST(JavaRun, CommandsTextsAndNames) {
  const char* const commands[][4] = {
      {"java.path=", nullptr, "java", "java"},
      {"java.path=", "/opt/jdk/", "/opt/jdk//bin/java", "/opt/jdk//bin/java"},
      {"java.path=", "/opt/j d", "/opt/j d/bin/java", "\"/opt/j d/bin/java\""},
      {"java.path=/my java", "/opt", "/my java", "\"/my java\""},
  };
  for (const auto& [path, home, plain, quoted] : commands) {
    home == nullptr ? ::unsetenv("JAVA_HOME") : ::setenv("JAVA_HOME", home, 1);
    const SimpleProperties properties = propertiesOf(path);
    EXPECT_EQ(getJavaCmd(javaparser::JavaParameterParser(properties), false), plain);
    EXPECT_EQ(getJavaCmd(javaparser::JavaParameterParser(properties), true), quoted);
  }
  EXPECT_EQ(getFullStringFromVector({"a", "b c", "d\te", R"(f"g)", ""}), "a \"b c\" d\te f\"g  ");
  EXPECT_EQ(getAllVeloxEnvFromVector({"A=1", "B=c=d"}), "A=1\nexport A\nB=c=d\nexport B=c\n");
  EXPECT_EQ(accepted("|a\tb|ab |", [](const auto& text) { return isSpace(text.c_str()); }), "ab |");
  EXPECT_EQ(RemoveEmptyPathSeparators(":a:::b::", ':'), ":a:b:");
  const char* const names[][2] = {
      {"/opt/app/run.exe", "run"}, {"run", "run"}, {"./a.exe.b.exe", "a.b.exe"}, {"/", ""}};
  for (const auto& [path, name] : names) EXPECT_EQ(GetBinaryNameFromPath(path), name) << path;
}

TEST(LegacyScript, IsMadeLineByLine) {
  Sandbox sandbox;
  ::setenv("ZQ_HOME", "/zq", 1);
  const auto generate = [&](const std::string& text) {
    generateScript(propertiesOf("wrapper.scriptArgument=" + sandbox.write("old.kvf", text) +
                                ";java.start.class=Main;application.args=x y;"
                                "velox.class.path.extended=lib/a.jar:classes/::ext;"
                                "java.extended.properties=-server"));
    return sandbox.read("old.sh");
  };
  EXPECT_EQ(
      generate(
          "# comment\n\njava.start.class=ignored\napplication.args=\njava.library.path=/opt/n\n"
          "velox.class.path.extended=\njava.extended.properties=\nvelox.env.PATH=/my/bin\n"
          "java.library=/j/jre/lib/amd64/server/libjvm.so\nvelox.env.B 2\nflag\nkey=value\n"
          "velox.env.LD_LIBRARY_PATH=/my/lib\njava.property.x=1\nvelox.env.A=%ZQ_HOME%\n"),
      "export B=2\nexport LD_LIBRARY_PATH=/my/lib\nLIBPATH=/zq/lib:/my/lib\nexport LIBPATH\n"
      "export A=/zq\nexport A=/zq\nPATH=/j/jre/bin:/my/bin\n\nexport PATH\n"
      "java -cp :lib/a.jar:classes/*:ext/* -Djava.library.path=\"/opt/n\" "
      "-Djava.library=\"/j/jre/lib/amd64/server/libjvm.so\" -Dflag=\"\" -Dkey=\"value\" -Dx=\"1\"  "
      "-server Main x y $*\n");
  const std::string start = "PATH=/bin:\nexport PATH\njava -cp ";
  EXPECT_EQ(generate("velox.env"), "export \n" + start + "    $*\n");
  EXPECT_EQ(generate(""), start + "    $*\n");
  EXPECT_EQ(generate("a=" + std::string(2500, 'b')), start + " -Da=\"" + std::string(1997, 'b') +
                                                         "\" -D" + std::string(503, 'b') +
                                                         "=\"\"    $*\n");
  generateScript(propertiesOf("wrapper.scriptArgument=" + sandbox.path("none.kvf")));
  EXPECT_FALSE(std::filesystem::exists(sandbox.path("none.sh")));
}

}  // namespace
