#include <cstdlib>

#include <gtest/gtest.h>
#include <unistd.h>

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
  struct Case {
    const char* text;
    Texts hosted, external, native;
  };
  const Case cases[] = {
      {"", {}, {}, {}},
      {" a\t\r\nb ", {"a", "b"}, {"a", "b"}, {"a", "b"}},
      {R"(x "y z" w)", {"x", "y z", "w"}, {"x", "y z", "w"}, {"x", "y z", "w"}},
      {R"(a "" b)", {"a", "", "b"}, {"a", "b"}, {"a", "", "b"}},
      {R"("")", {""}, {}, {""}},
      {R"(""c)", {"", "c"}, {"c"}, {"", "c"}},
      {R"(a"b)", {"ab"}, {"ab"}, {R"(a"b)"}},
      {R"(a"b c"d)", {"ab", "cd"}, {"ab", "cd"}, {R"(a"b)", R"(c"d)"}},
      {R"("a b"c d)", {"a bc", "d"}, {"a bc", "d"}, {"a b", "d"}},
      {R"("a b"c"d e)", {"a bcd", "e"}, {"a bcd", "e"}, {"a b", "e"}},
      {R"("a ")", {"a "}, {"a "}, {"a "}},
      {R"( "unclosed x)", {"unclosed x"}, {"unclosed x"}, {"unclosed x"}},
      {"\"", {}, {}, {}},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(textsOf(splitArguments(row.text, LaunchWay::hostedJava)), row.hosted) << row.text;
    EXPECT_EQ(textsOf(splitArguments(row.text, LaunchWay::externalJava)), row.external) << row.text;
    EXPECT_EQ(textsOf(splitArguments(row.text, LaunchWay::nativeLibrary)), row.native) << row.text;
  }
}

TEST(ArgumentSplitter, CommandLineArgumentsStayWholeUpToTheFirstGap) {
  const SimpleProperties properties = propertiesOf({{"application.args", "f"},
                                                    {"commandline.argv.0", "prog"},
                                                    {"commandline.argv.1", "a b"},
                                                    {"commandline.argv.3", "lost"}});
  EXPECT_EQ(textsOf(applicationArguments(properties, LaunchWay::hostedJava)), (Texts{"f", "a b"}));
  int argc = 0;
  char** argv = nullptr;
  CreateArgs(properties, argc, argv);
  EXPECT_EQ(Texts(argv, argv + argc), (Texts{"prog", "a b", "f"}));
  EXPECT_EQ(argv[argc], nullptr);
  DestroyArgs(argc, argv);
  CreateArgs(SimpleProperties(), argc, argv);
  EXPECT_EQ(argv, nullptr);
  DestroyArgs(argc, argv);
}

TEST(ServiceWrapper, TheBinaryNameIsTheFileNameWithoutExe) {
  const std::pair<const char*, const char*> cases[] = {
      {"/opt/app/run.exe", "run"}, {"run", "run"}, {"./a.exe.b.exe", "a.b.exe"}, {"/", ""}};
  for (const auto& [path, name] : cases) EXPECT_EQ(GetBinaryNameFromPath(path), name) << path;
}

TEST(ExtendedOptions, AreSplitAndJoinedWithTheirValues) {
  const std::pair<const char*, Texts> cases[] = {
      {"", {}},
      {"-Dfoo bar", {"-Dfoo=bar"}},
      {"-Xmx512m -verbose", {"-Xmx512m", "-verbose"}},
      {R"(-Da="x y" -Db=1)", {"-Da=x y", "-Db=1"}},
      {R"(-Dempty="")", {"-Dempty="}},
      {R"(-Dempty=""x)", {"-Dempty="}},
      {R"(-Da="x"y)", {"-Da=x"}},
      {"abc-def", {"-def"}},
      {"junk -server", {"-server"}},
      {"-a  -b", {"-a=", "-b"}},
      {"-a ", {"-a"}},
      {"-a\t-b c", {"-a\t-b=c"}},
      {R"(-Xmx512m -Dname "a b" -server)", {"-Xmx512m", "-Dname=a b", "-server"}},
      {R"(-Dn "a b)", {"-Dn=a b"}},
      {R"(-Da="x y)", {"-Da=x=y"}},
      {R"(-Da=" x -Db y "-c)", {"-Da= x -Db y "}},
      {R"(-D"a b"=c d -e)", {"-Da b", "-e"}},
      {R"(-a "b c" -d "e f" g)", {"-a=b c", "-d=e f"}},
  };
  for (const auto& [line, options] : cases) {
    EXPECT_EQ(textsOf(splitExtendedOptions(line)), options) << line;
  }
}

TEST(ModifiedUtf8, HoldsNothingThatJniCannotTake) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "plain"},
      {"\xC3\xA9\xE2\x82\xAC", "\xC3\xA9\xE2\x82\xAC"},
      {"\xF0\x9F\x98\x80!", "\xED\xA0\xBD\xED\xB8\x80!"},
      {"\xF4\x8F\xBF\xBF", "\xED\xAF\xBF\xED\xBF\xBF"},
      {"\x80", "\xEF\xBF\xBD"},
      {"\xC0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xE2\x82", "\xEF\xBF\xBD"},
      {"\xE2\x82x", "\xEF\xBF\xBDx"},
      {"\xE0\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xED\xA0\x80", "\xEF\xBF\xBD"},
      {"\xED\xA0", "\xEF\xBF\xBD"},
      {"\xF0\x9F\x98", "\xEF\xBF\xBD"},
      {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
  };
  for (const auto& [utf8, modified] : cases) EXPECT_EQ(toModifiedUtf8(utf8).view(), modified);
}

TEST(ClassPath, LimitsAreCheckedLevelFirst) {
  const std::string level = "velox.class.path.extended.search.level";
  const std::string number = "velox.class.path.extended.max.lib.number";
  const auto init = [](const Pairs& pairs) {
    return inChild([&] {
      CommonConfig::initConfig(propertiesOf(pairs));
      std::printf("%d %d", CommonConfig::searchLevel, CommonConfig::libNumberOfOnePath);
    });
  };
  EXPECT_EQ(init({}).out, "4 4096");
  EXPECT_EQ(init({{level, "12"}, {number, "8192x"}}).out, "12 8192");
  for (const char* bad : {"0", "13", "deep", "", "-1", "99999999999999999999"}) {
    const Outcome outcome = init({{level, bad}, {number, "0"}});
    EXPECT_EQ(outcome.out, "extend class path search level not validate\n") << bad;
    EXPECT_EQ(outcome.status, 255);
  }
  EXPECT_EQ(init({{number, "8193"}}).out, "extend class path max lib number not validate\n");
}

TEST(ClassPath, DirectoriesExpandToTheirArchives) {
  Sandbox sandbox;
  for (const char* name : {"lib/a.jar", "lib/b c.zip", "lib/c.class", "lib/x.jar.bak", "lib/UP.JAR",
                           "lib/two/d.jar", "lib/two/three/four/e.jar"}) {
    sandbox.write(name, "");
  }
  std::filesystem::create_symlink(sandbox.path("lib/a.jar"), sandbox.path("lib/link.jar"));
  std::filesystem::create_symlink(sandbox.path("lib"), sandbox.path("lib/two/loop"));
  const std::string lib = sandbox.path("lib");
  const javaparser::JavaParameterParser parser{SimpleProperties()};
  const auto expand = [&](const std::string& classPath) {
    const WString expanded = parser.expandClassPath(classPath.c_str());
    std::vector<std::string> parts = textsOf(CommonTool::splitEx(expanded, ":"));
    std::sort(parts.begin(), parts.end());
    return parts;
  };
  EXPECT_EQ(expand(lib), (Texts{lib, lib + "/a.jar", lib + "/b c.zip"}));
  CommonConfig::searchLevel = 3;
  EXPECT_EQ(expand(lib + "/**"),
            (Texts{lib + "/**", lib + "/a.jar", lib + "/b c.zip", lib + "/two/d.jar"}));
  CommonConfig::searchLevel = 4;
  EXPECT_EQ(expand(lib + "/**").size(), 5U);
  CommonConfig::libNumberOfOnePath = 2;
  EXPECT_EQ(expand(lib + "/**").size(), 3U);
  CommonConfig::libNumberOfOnePath = 4096;

  const std::pair<const char*, const char*> texts[] = {
      {"", ""},
      {"lib/a.jar;lib/b.zip", "lib/a.jar:lib/b.zip:"},
      {"::a.class/;;nowhere/:", "a.class:nowhere:"},
      {"x.jar.d\\", "x.jar.d:"},
      {"/", ""},
      {"**", "**:"},
  };
  for (const auto& [classPath, expanded] : texts) {
    EXPECT_EQ(parser.expandClassPath(classPath), expanded) << classPath;
  }
  EXPECT_EQ(textsOf(CommonTool::splitEx("a::b:", ":")), (Texts{"a", "", "b"}));
  EXPECT_EQ(textsOf(CommonTool::splitEx("-->a", "-->")), (Texts{"", "a"}));
}

TEST(JavaRunOptions, ComeInTheirFixedOrder) {
  const SimpleProperties properties = propertiesOf({{"java.property.p", "v w"},
                                                    {"java.extended.properties", "-server"},
                                                    {"java.class.path", "c/"},
                                                    {"java.library", "l"},
                                                    {"java.library.path", "lp"},
                                                    {"java.heap.size.max", ""},
                                                    {"java.heap.size.min", "64m"},
                                                    {"java.heap.size.initial", "3"},
                                                    {"java.thread.stack.size", "4"},
                                                    {"wrapper.kvf.file", "k"}});
  const std::string pid = "-Dapplication.processid=" + std::to_string(::getpid());
  const Texts fixed = {"-Djava.class.path=c/",
                       "-Djava.library=l",
                       "-Djava.library.path=lp",
                       "-Xmx",
                       "-Xmn64m",
                       "-Xms3",
                       "-Xss4",
                       pid};
  const auto expected = [&](Texts list, const Texts& last) {
    list.insert(list.end(), fixed.begin(), fixed.end());
    list.insert(list.end(), last.begin(), last.end());
    return list;
  };
  const javaparser::JavaParameterParser parser(properties);
  EXPECT_EQ(textsOf(javaparser::getAllJavaRunOption(parser)),
            expected({"-Dp=v w", "-server"}, {"-Dwrapper.kvf.file=k"}));
  EXPECT_EQ(textsOf(javaparser::getAllJavaRunOption(parser, {false, "bin"})),
            expected({}, {"-Dwrapper.binary.path=bin", "-Dwrapper.kvf.file=k"}));

  const std::tuple<const char*, Pairs, std::string> classPaths[] = {
      {nullptr, {}, "."},
      {"", {}, ""},
      {"env", {}, "env"},
      {"env", {{"java.class.path", ""}}, ""},
      {"env", {{"java.class.path", "x"}, {"velox.class.path.extended", "a.jar"}}, "a.jar:"},
  };
  for (const auto& [inherited, pairs, classPath] : classPaths) {
    ::unsetenv("CLASSPATH");
    if (inherited != nullptr) ::setenv("CLASSPATH", inherited, 1);
    const SimpleProperties set = propertiesOf(pairs);
    EXPECT_EQ(textsOf(javaparser::getAllJavaRunOption(javaparser::JavaParameterParser(set))),
              (Texts{"-Djava.class.path=" + classPath, pid}));
  }
}

TEST(JavaRun, TheCommandAndTheScriptsTexts) {
  const std::tuple<const char*, const char*, const char*, const char*> commands[] = {
      {"", nullptr, "java", "java"},
      {"", "/opt/jdk/", "/opt/jdk//bin/java", "/opt/jdk//bin/java"},
      {"", "/opt/j d", "/opt/j d/bin/java", "\"/opt/j d/bin/java\""},
      {"/my java", "/opt", "/my java", "\"/my java\""},
  };
  for (const auto& [path, home, plain, quoted] : commands) {
    ::unsetenv("JAVA_HOME");
    if (home != nullptr) ::setenv("JAVA_HOME", home, 1);
    const SimpleProperties properties = propertiesOf({{"java.path", path}});
    EXPECT_EQ(getJavaCmd(javaparser::JavaParameterParser(properties), false), plain);
    EXPECT_EQ(getJavaCmd(javaparser::JavaParameterParser(properties), true), quoted);
  }
  EXPECT_EQ(getFullStringFromVector({"a", "b c", "d\te", R"(f"g)", ""}), "a \"b c\" d\te f\"g  ");
  EXPECT_EQ(getAllVeloxEnvFromVector({"A=1", "B=c=d"}), "A=1\nexport A\nB=c=d\nexport B=c\n");
  EXPECT_EQ(getAllVeloxEnvFromVector({}), "");
}

TEST(LegacyScript, IsMadeLineByLine) {
  Sandbox sandbox;
  ::setenv("ZQ_HOME", "/zq", 1);
  const auto generate = [&](const std::string& text) {
    const std::string file = sandbox.write("old.kvf", text);
    generateScript(propertiesOf({{"wrapper.scriptArgument", file},
                                 {"java.start.class", "Main"},
                                 {"application.args", "x y"},
                                 {"velox.class.path.extended", "lib/a.jar:classes/::ext"},
                                 {"java.extended.properties", "-server"}}));
    return sandbox.read("old.sh");
  };
  EXPECT_EQ(generate("# comment\n\njava.start.class=ignored\napplication.args=\n"
                     "velox.class.path.extended=\njava.extended.properties=\n"
                     "java.library=/opt/jdk/jre/lib/amd64/server/libjvm.so\n"
                     "java.library.path=/opt/native\nvelox.env.PATH=/my/bin\nvelox.env.B 2\n"
                     "velox.env.LD_LIBRARY_PATH=/my/lib\njava.property.x=1\nflag\nkey=value\n"
                     "velox.env.A=%ZQ_HOME%\n"),
            "export B=2\nexport LD_LIBRARY_PATH=/my/lib\nLIBPATH=/zq/lib:/my/lib\n"
            "export LIBPATH\nexport A=/zq\nexport A=/zq\n"
            "PATH=/opt/jdk/jre/bin:/my/bin\n\nexport PATH\n"
            "java -cp :lib/a.jar:classes/*:ext/* "
            "-Djava.library=\"/opt/jdk/jre/lib/amd64/server/libjvm.so\" "
            "-Djava.library.path=\"/opt/native\" -Dx=\"1\"  -Dflag=\"\" -Dkey=\"value\" "
            "-server Main x y $*\n");
  EXPECT_EQ(generate("velox.env"), "export \nPATH=/bin:\nexport PATH\njava -cp     $*\n");
  EXPECT_EQ(generate(""), "PATH=/bin:\nexport PATH\njava -cp     $*\n");
  EXPECT_EQ(generate("a=" + std::string(2500, 'b')), "PATH=/bin:\nexport PATH\njava -cp  -Da=\"" +
                                                         std::string(1997, 'b') + "\" -D" +
                                                         std::string(503, 'b') + "=\"\"    $*\n");
  generateScript(propertiesOf({{"wrapper.scriptArgument", sandbox.path("none.kvf")}}));
  EXPECT_FALSE(sandbox.exists("none.sh"));
}

TEST(ProcessEnvironment, PublicHelpers) {
  EXPECT_FALSE(isSpace(""));
  EXPECT_FALSE(isSpace("a\tb"));
  EXPECT_TRUE(isSpace("ab "));
  EXPECT_EQ(RemoveEmptyPathSeparators(":a:::b::", ':'), ":a:b:");
  EXPECT_EQ(RemoveEmptyPathSeparators("a:b", ':'), "a:b");
}

}  // namespace
