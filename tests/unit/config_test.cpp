#include <cstdlib>

#include <gtest/gtest.h>
#include <unistd.h>

#include "config/CommandLine.h"
#include "config/Configuration.h"
#include "config/PropertiesAdjustment.h"
#include "config/PropertiesFile.h"
#include "config/PropertiesLocation.h"
#include "config/PropertiesScanner.h"
#include "config/VariableSubstitution.h"
#include "support/Properties.h"
#include "support/Run.h"

namespace {

const SimpleProperties none;

std::vector<char*> argvOf(std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  return argv;
}

/// A command line and what the two scans make of it, without the program name's own entry.
struct ScanCase {
  Texts arguments;
  Pairs options;
  Pairs variables = {};
  Pairs optionsOnly = {};  ///< where the stand-alone scan differs
};

TEST(CommandLine, SwitchesBecomeProperties) {
  const std::string command = "wrapper.command";
  const std::string first = "commandline.argv.1";
  const ScanCase cases[] = {
      {{"--run", "--propFile", "app.kvf"},
       {{command, "--run"}, {"wrapper.propertiesFile", "app.kvf"}}},
      {{"--propFile"}, {{"wrapper.propertiesFile", ""}}},
      {{"--generateScript", "x.kvf"},
       {{command, "--generateScript"}, {"wrapper.scriptArgument", "x.kvf"}, {first, "x.kvf"}}},
      {{"--propVar", "PORT=80", "--propVar", "A=B=C", "--propVar", "X", "--propVar"},
       {},
       {{"wrapper.variable.PORT", "80"},
        {"wrapper.variable.A", "B=C"},
        {"wrapper.variable.X", "X"},
        {"wrapper.variable.", ""}}},
      {{"--kill", "Abort"},
       {{command, "--kill"}, {"wrapper.signal", "Abort"}, {first, "Abort"}},
       {},
       {{command, "--kill"}, {first, "Abort"}}},
      {{"--ntservice", "name"},
       {{command, "--ntservice"}, {"ntservice.name", "name"}, {first, "name"}}},
      {{"--start", "--run"}, {{command, "--run"}}},
      {{"--startSync"}, {{command, "--startSync"}}},
      {{"--pid", "--silent"}, {{"wrapper.displaypid", "--pid"}, {"wrapper.silent.flag", "true"}}},
      {{"-x", "", "b c"},
       {{first, "-x"}, {"commandline.argv.2", ""}, {"commandline.argv.3", "b c"}}},
      {{"--delayStart", "999", "a"}, {{first, "a"}}},
      {{"--delayStart", "-5000"}, {}},
      {{"--delayStart", "soon"}, {{first, "soon"}}},
      {{"--innerProcess"}, {{"wrapper.property.innerProcess", "true"}}},
      {{"--adjust"}, {{"wrapper.adjust", "true"}}, {}, {{command, "--help"}}},
      {{"--cleanInstall"}, {{command, "--help"}}, {}, {{command, "--cleanInstall"}}},
      {{"--RUN", "--version"}, {{command, "--help"}}},
      {{"--", "--kill"}, {{command, "--help"}, {"wrapper.signal", ""}}, {}, {{command, "--help"}}},
  };
  for (const ScanCase& row : cases) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    Texts arguments = {"prog"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    std::vector<char*> argv = argvOf(arguments);
    const int argc = static_cast<int>(arguments.size());
    const auto expected = [](Pairs pairs) {
      pairs["commandline.argv.0"] = "prog";
      return pairs;
    };
    const CommandLine line = ScanCommandLine(argc, argv.data());
    EXPECT_EQ(pairsOf(line.options), expected(row.options));
    EXPECT_EQ(pairsOf(line.variables), row.variables);
    EXPECT_EQ(line.innerProcess, row.arguments[0] == "--innerProcess");
    EXPECT_EQ(line.adjustmentChild, row.arguments[0] == "--adjust");
    EXPECT_EQ(pairsOf(ParseCommandLineOnly(argc, argv.data())),
              expected(row.optionsOnly.empty() ? row.options : row.optionsOnly));
  }
}

TEST(CommandLine, SomeCommandsLetAnAdjusterRun) {
  EXPECT_TRUE(isAdjustable(none));
  for (const char* command : {"--install", "--update", "--start", "--run", "--ntservice"}) {
    EXPECT_TRUE(isAdjustable(propertiesOf({{"wrapper.command", command}}))) << command;
  }
  for (const char* command :
       {"--version", "--kill", "--generateScript", "--cmdlineJava", "--Run"}) {
    EXPECT_FALSE(isAdjustable(propertiesOf({{"wrapper.command", command}}))) << command;
  }
}

TEST(PropertiesScanner, SplitsTextIntoEntries) {
  struct Case {
    std::string text;
    std::string entries;  ///< key|value and "." for a line end, "~" for the end of the text
  };
  const Case cases[] = {
      {"key=value\n", "key|value."},
      {"key: value\r\n", "key|value."},
      {"key value\n", "key|value."},
      {"key==value\n", "key|value."},
      {"key===value\n", "key|=value."},
      {"key = value  \n", "key| value  ."},
      {"key =value\n", "key|value."},
      {"key := value\n", "key|:= value."},
      {" \t key\t\tvalue\n", "key|value."},
      {"key=\n", "key|."},
      {"key\nnext=1", "next|1~"},
      {"  # note=1\n!x=2\na=1 # x\n", "a|1 # x."},
      {"# goes on\\\nin=comment\nb=2\n", "b|2."},
      {"a=one\\\n  two\n", "a|one  two."},
      {"a=one\\\r\n  two=3\n", "a|one.two|3."},
      {"a=\\\n  two\n", "a|two."},
      {"ke\\\ny=1\n", "key|1."},
      {"a=\\t\\r\\n\\\\\\=\\q\n", "a|\t\r\n\\=q."},
      {"a\\ b\\=c=1\n", "a b=c|1."},
      {"a\\:b=1\n\\=x=2\n", "a:b|1.=x|2."},
      {"a=1\\", "a|1~"},
      {"a \\=b\n", "a|b."},
      {std::string("a=1\0b\nc=2\n", 10), "a|1~"},
      {"=v\n:w\n#\n\n", ""},
      {"", ""},
  };
  for (const Case& row : cases) {
    PropertiesScanner scanner(row.text);
    std::string entries;
    for (PropertiesEntry entry; scanner.next(entry);) {
      entries += std::string(entry.key.c_str()) + "|" + entry.value.c_str() +
                 (entry.endedByLineEnd ? "." : "~");
    }
    EXPECT_EQ(entries, row.entries) << row.text;
  }
}

TEST(Variables, AreReplacedInTheDocumentedOrder) {
  ::setenv("VELOX_T", "env", 1);
  const SimpleProperties first = propertiesOf({{"wrapper.variable.HOME", "/x"},
                                               {"wrapper.variable.self", "<%self%>"},
                                               {"wrapper.variable.brings", "%VELOX_T"},
                                               {"plain", "no"}});
  const SimpleProperties second = propertiesOf({{"VELOX_T", "second"}, {"b", "second"}});
  const SimpleProperties third = propertiesOf({{"b", "third"}, {"c", "third"}});
  const std::pair<const char*, const char*> cases[] = {
      {"%HOME%/bin", "/x/bin"},     {"%VELOX_T%-%b%-%c%", "env-second-third"},
      {"%UNDEFINED%x%plain%", "x"}, {"50%", "50%"},
      {"%b%50%c", "second50%c"},    {"a\\%b", "a%b"},
      {"\\%b\\%", "%b%"},           {"@@#@@", "@@#@@"},
      {"@@#@@%c%", "%third"},       {"%%x", "x"},
      {"%self%", "<%self%>"},       {"%brings%%VELOX_T%", "envVELOX_T%"},
      {"plain", "plain"},
  };
  for (const auto& [text, expected] : cases) {
    WString value = text;
    ReplaceVariables(value, first, second, third);
    EXPECT_EQ(value, expected) << text;
  }
  const auto references = [](int count) {
    WString value;
    for (int i = 0; i < count; ++i) value += "%u%";
    ReplaceVariables(value, none, none, none);
    std::exit(value.empty() ? 0 : 1);
  };
  EXPECT_EQ(inChild([&] { references(100); }).status, 0);
  const Outcome tooMany = inChild([&] { references(101); });
  EXPECT_EQ(tooMany.status, 255);
  EXPECT_TRUE(tooMany.has("the value that begins with : %u%%u%")) << tooMany.out;
}

TEST(Variables, AreSubstitutedTheOldWayForTheLegacyScript) {
  ::setenv("VELOX_T", "env", 1);
  const SimpleProperties properties = propertiesOf({{"a", "%b%"}, {"b", "2"}, {"VELOX_P", "own"}});
  const std::pair<const char*, const char*> cases[] = {
      {"C:\\dir\\file", "C:/ir\\file"}, {"x%PSP%y%PSP%", "x:y"}, {"%a%%VELOX_T%", "2env"},
      {"%VELOX_P%%none%.", "own."},     {"100%", "100%"},        {"\\ab%c\\%", "/b%c\\%"},
  };
  for (const auto& [text, expected] : cases) {
    WString value = text;
    substitute(value, properties);
    EXPECT_EQ(value, expected) << text;
  }
  const Outcome endless = inChild([] {
    WString value = "%loop%";
    substitute(value, propertiesOf({{"loop", "x%loop%"}}));
  });
  EXPECT_EQ(endless.status, 255);
  EXPECT_TRUE(endless.has("begins with : %loop%")) << endless.out;
}

/// Parses a file in the child's own process state and prints its entries; "kvf.file.dir" and
/// "path.separator" only when asked for.
Outcome parsed(const std::string& file, const Pairs& options = {}, bool noExport = false) {
  return inChild([&] {
    const SimpleProperties entries = ParsePropertiesFile(
        file.c_str(), propertiesOf(options), propertiesOf({{"wrapper.variable.V", "var"}}),
        propertiesOf({{"context", "ctx"}}), noExport);
    for (const auto& [key, value] : pairsOf(entries)) {
      if (key != "path.separator") std::printf("%s=%s;", key.c_str(), value.c_str());
    }
    for (const char* name : {"VELOX_A", "VELOX_B", "VELOX_LAST"}) {
      if (const char* value = std::getenv(name)) std::printf("env %s=%s;", name, value);
    }
  });
}

TEST(PropertiesFile, FollowsIncludesAndExportsAsItGoes) {
  Sandbox sandbox;
  sandbox.write("sub/inc.kvf", "b=from-include\nd=%a%\nvelox.env.VELOX_B=%V%\n");
  sandbox.write("last.kvf", "e=5\n");
  const std::string main = sandbox.write(
      "main.kvf",
      "a=1\na=%V%-%context%\nb=lost\nvelox.include.kvf.1=%kvf.file.dir%/sub/inc.kvf\nb=%b%!\n"
      "velox.env.VELOX_A=%a%\nvelox.include.other=x\nvelox.env.VELOX_LAST=1");
  const std::string expected =
      "a=var-ctx;b=from-include!;d=var-ctx;kvf.file.dir=" + sandbox.path() +
      ";velox.env.VELOX_A=var-ctx;velox.env.VELOX_B=var;"
      "velox.env.VELOX_LAST=1;velox.include.other=x;";
  EXPECT_EQ(parsed(main).out, expected + "env VELOX_A=var-ctx;env VELOX_B=var;");
  EXPECT_EQ(parsed(main, {}, true).out, expected);
  // The shorter prefix includes at the end of the text.
  EXPECT_EQ(parsed(sandbox.write("eof.kvf", "velox.include.x=" + sandbox.path("last.kvf"))).out,
            "e=5;kvf.file.dir=" + sandbox.path() + ";");
}

TEST(PropertiesFile, FileSizesAndIncludeDepthsHaveLimits) {
  Sandbox sandbox;
  const auto ofSize = [&](std::size_t size) {
    return parsed(sandbox.write("size.kvf", "a=1\n#" + std::string(size - 6, 'x') + "\n")).out;
  };
  const std::string entries = "a=1;kvf.file.dir=" + sandbox.path() + ";";
  EXPECT_EQ(ofSize(65535), entries);
  EXPECT_EQ(ofSize(65536), entries);
  EXPECT_EQ(ofSize(1048575), entries);
  EXPECT_EQ(ofSize(1048576), "");
  EXPECT_EQ(parsed(sandbox.path()).out, "") << "a directory";

  for (int depth = 0; depth <= 1024; ++depth) {
    sandbox.write(std::to_string(depth) + ".kvf",
                  "velox.include.kvf=" + sandbox.path(std::to_string(depth + 1) + ".kvf") + "\n");
  }
  sandbox.write("1024.kvf", "deepest=1\n");
  EXPECT_TRUE(parsed(sandbox.path("0.kvf")).has("deepest=1;"));
  const std::string loop = sandbox.path("loop.kvf");
  sandbox.write("loop.kvf", "velox.include.kvf=" + loop + "\n");
  const Outcome cycle = parsed(loop);
  EXPECT_EQ(cycle.status, 255);
  EXPECT_TRUE(cycle.has(loop)) << cycle.out;
}

TEST(PropertiesFile, SomeCommandsTolerateAMissingFile) {
  const std::pair<Pairs, std::string> cases[] = {
      {{{"wrapper.command", "--version"}}, ""},
      {{{"wrapper.command", "--help"}}, ""},
      {{{"wrapper.command", "--uninstall"}, {"ntservice.name", "n"}}, "ntservice.name=n;"},
  };
  for (const auto& [options, out] : cases) EXPECT_EQ(parsed("/nowhere.kvf", options).out, out);
  const Pairs fatal[] = {{}, {{"wrapper.command", "--uninstall"}}, {{"wrapper.command", "--run"}}};
  for (const Pairs& options : fatal) {
    const Outcome outcome = parsed("/nowhere.kvf", options);
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(outcome.out, "Failed to open properties file : /nowhere.kvf\n");
  }
  const Outcome noName = inChild([] { ParsePropertiesFile(nullptr, none, none, none, false); });
  EXPECT_EQ(noName.out, "Failed to find properties file : \n");
}

TEST(Location, PathPiecesAreTakenAsTheyStand) {
  Sandbox sandbox;
  const std::string a = sandbox.path("a");
  const std::string b = sandbox.path("b");
  sandbox.write("a/in-a.kvf", "");
  sandbox.write("b/in-b.kvf", "");
  sandbox.write("b/in-a.kvf", "");
  struct Case {
    std::string path, name, found;
  };
  const Case cases[] = {
      {a + ":" + b, "in-b.kvf", b + "/in-b.kvf"},
      {a + "/;" + b + "\\", "in-b.kvf", b + "/in-b.kvf"},
      {a + "/:" + b, "in-a.kvf", a + "/in-a.kvf"},
      {a + "//:" + b, "in-a.kvf", a + "//in-a.kvf"},
      {a + "::" + b, "in-b.kvf", ""},
      {":" + a, "in-a.kvf", ""},
      {a + ":", "in-a.kvf", a + "/in-a.kvf"},
      {a, "b/in-a.kvf", ""},
      {"/", "etc", ""},
      {"", "in-a.kvf", ""},
  };
  for (const Case& row : cases) {
    ::setenv("PATH", row.path.c_str(), 1);
    WString name = row.name.c_str();
    EXPECT_EQ(SearchPropFileInPATH(name), !row.found.empty()) << row.path;
    EXPECT_EQ(name.view(), row.found.empty() ? row.name : row.found) << row.path;
  }
  ::unsetenv("PATH");
  WString name = "in-a.kvf";
  EXPECT_FALSE(SearchPropFileInPATH(name));
}

TEST(Location, TheFileIsNamedOrGoesByTheProgramsName) {
  Sandbox sandbox;
  sandbox.write("svc.kvf", "");
  sandbox.write("dir/other.kvf", "");
  ASSERT_EQ(::chdir(sandbox.path().c_str()), 0);
  ::setenv("PATH", sandbox.path("dir").c_str(), 1);
  struct Case {
    const char* named;
    const char* program;
    std::string name, fullPath;
  };
  const Case cases[] = {
      {nullptr, "/opt/bin/svc", "svc.kvf", sandbox.path("svc.kvf")},
      {nullptr, "svc.exe", "svc.kvf", sandbox.path("svc.kvf")},
      {nullptr, "other", sandbox.path("dir/other.kvf"), sandbox.path("dir/other.kvf")},
      {nullptr, "nowhere", "nowhere.kvf", "nowhere.kvf"},
      {"svc.kvf", "x", "svc.kvf", sandbox.path("svc.kvf")},
      {"other.kvf", "x", "other.kvf", "other.kvf"},
      {"dir/other.kvf", "x", "dir/other.kvf", "dir/other.kvf"},
  };
  for (const Case& row : cases) {
    const Pairs options =
        row.named == nullptr ? Pairs() : Pairs{{"wrapper.propertiesFile", row.named}};
    const PropertiesLocation location = LocatePropertiesFile(propertiesOf(options), row.program);
    EXPECT_EQ(location.name.view(), row.name);
    EXPECT_EQ(location.fullPath.view(), row.fullPath);
  }
  ASSERT_EQ(::chdir("/"), 0);
}

TEST(Configuration, TheGlobalFileFillsGapsOnly) {
  Sandbox sandbox;
  sandbox.write("global.kvf", "a=global\nb=global\nc=%a%\n");
  ASSERT_EQ(::chdir(sandbox.path().c_str()), 0);
  SimpleProperties fileSet = propertiesOf({{"a", "main"}, {"b", ""}});
  HandleGlobalKVFFile(fileSet, false);
  ASSERT_EQ(::chdir("/"), 0);
  Pairs pairs = pairsOf(MergeProperties(propertiesOf({{"x", "line"}}), fileSet));
  pairs.erase("path.separator");
  pairs.erase("kvf.file.dir");
  EXPECT_EQ(pairs, (Pairs{{"a", "main"}, {"b", "global"}, {"c", "global"}, {"x", "line"}}));
  EXPECT_FALSE(g_isJavaWrapper);
  UpdateProcessType(propertiesOf({{"java.library", ""}}));
  EXPECT_TRUE(g_isJavaWrapper);
  g_isJavaWrapper = false;
}

}  // namespace
