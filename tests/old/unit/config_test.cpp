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

TEST(CommandLine, SwitchesBecomeProperties) {
  struct Case {
    std::string arguments, options, variables = {};
    std::string optionsOnly = {};  ///< where the stand-alone scan differs
  };
  const std::string kill = "commandline.argv.1=Abort;wrapper.command=--kill;";
  const std::string help = "wrapper.command=--help;";
  const Case cases[] = {
      {"--run|--propFile|app.kvf", "wrapper.command=--run;wrapper.propertiesFile=app.kvf;"},
      {"--propFile", "wrapper.propertiesFile=;"},
      {"--generateScript|x",
       "commandline.argv.1=x;wrapper.command=--generateScript;wrapper.scriptArgument=x;"},
      {"--propVar|PORT=80|--propVar|A=B=C|--propVar|X|--propVar", "",
       "wrapper.variable.=;wrapper.variable.A=B=C;wrapper.variable.PORT=80;wrapper.variable.X=X;"},
      {"--kill|Abort", kill + "wrapper.signal=Abort;", "", kill},
      {"--ntservice|n", "commandline.argv.1=n;ntservice.name=n;wrapper.command=--ntservice;"},
      {"--start|--run", "wrapper.command=--run;"},
      {"--startSync", "wrapper.command=--startSync;"},
      {"--pid|--silent", "wrapper.displaypid=--pid;wrapper.silent.flag=true;"},
      {"-x||b c", "commandline.argv.1=-x;commandline.argv.2=;commandline.argv.3=b c;"},
      {"--delayStart|999|a|--delayStart|-5000", "commandline.argv.1=a;"},
      {"--delayStart|soon", "commandline.argv.1=soon;"},
      {"--innerProcess", "wrapper.property.innerProcess=true;"},
      {"--adjust", "wrapper.adjust=true;", "", help},
      {"--cleanInstall", help, "", "wrapper.command=--cleanInstall;"},
      {"--RUN|--version", help},
      {"--|--kill", help + "wrapper.signal=;", "", help},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.arguments);
    Texts arguments = split("prog|" + row.arguments);
    const int argc = static_cast<int>(arguments.size());
    const std::string program = "commandline.argv.0=prog;";
    const CommandLine line = scanCommandLine(argc, pointersTo(arguments).data());
    EXPECT_EQ(joined(line.options), program + row.options);
    EXPECT_EQ(joined(line.variables), row.variables);
    EXPECT_EQ(line.innerProcess, row.arguments == "--innerProcess");
    EXPECT_EQ(line.adjustmentChild, row.arguments == "--adjust");
    EXPECT_EQ(joined(ParseCommandLineOnly(argc, pointersTo(arguments).data())),
              program + (row.optionsOnly.empty() ? row.options : row.optionsOnly));
  }
}

TEST(CommandLine, SomeCommandsLetAnAdjusterRun) {
  const auto isCommandAdjustable = [](const std::string& command) {
    return isAdjustable(propertiesOf("wrapper.command=" + command));
  };
  const std::string yes = "--install|--update|--start|--run|--ntservice|";
  const std::string no = "--version|--kill|--generateScript|--cmdlineJava|--Run|";
  EXPECT_EQ(accepted(no + yes, isCommandAdjustable), yes);
  EXPECT_TRUE(isAdjustable({}));
}

TEST(PropertiesScanner, SplitsTextIntoEntries) {
  // The entries are key|value and "." for a line end, "~" for the end of the text.
  const std::pair<std::string, const char*> cases[] = {
      {"key=value\nkey: value\r\nkey value\n", "key|value.key|value.key|value."},
      {"key =value\nkey==value\nkey===value\n", "key|value.key|value.key|=value."},
      {"key = value  \n \t key\t\tvalue\nkey := value\n", "key| value  .key|value.key|:= value."},
      {"key=\na \\=b\nkey\nnext=1", "key|.a|b.next|1~"},
      {"  # note=1\n!x=2\na=1 # x\n# goes on\\\nin=comment\nb=2\n", "a|1 # x.b|2."},
      {"a=one\\\n  two\na=\\\n  two\nke\\\ny=1\n", "a|one  two.a|two.key|1."},
      {"a=one\\\r\n  two=3\n", "a|one.two|3."},
      {"a=\\t\\r\\n\\\\\\=\\q\n", "a|\t\r\n\\=q."},
      {"a\\ b\\=c=1\na\\:b=1\n\\=x=2\n", "a b=c|1.a:b|1.=x|2."},
      {"a=1\\", "a|1~"},
      {std::string("a=1\0b\nc=2\n", 10), "a|1~"},
      {"=v\n:w\n#\n\n", ""},
  };
  for (const auto& [text, expected] : cases) {
    PropertiesScanner scanner(text);
    WString entries;
    for (PropertiesEntry entry; scanner.next(entry);) {
      entries += entry.key + "|" + entry.value + (entry.endedByLineEnd ? '.' : '~');
    }
    EXPECT_EQ(entries, expected) << text;
  }
}

TEST(Variables, AreReplacedInTheirOrderOrTheOldWay) {
  ::setenv("VELOX_T", "env", 1);
  const SimpleProperties first = propertiesOf(
      "wrapper.variable.HOME=/x;wrapper.variable.self=<%self%>;wrapper.variable.brings=%VELOX_T;"
      "plain=no");
  const SimpleProperties second = propertiesOf("VELOX_T=second;b=second");
  const SimpleProperties third = propertiesOf("b=third;c=third");
  const char* const cases[][2] = {
      {"%HOME%/bin", "/x/bin"},     {"%VELOX_T%-%b%-%c%", "env-second-third"},
      {"%UNDEFINED%x%plain%", "x"}, {"50%", "50%"},
      {"%b%50%c", "second50%c"},    {"a\\%b", "a%b"},
      {"\\%b\\%", "%b%"},           {"@@#@@", "@@#@@"},
      {"@@#@@%c%", "%third"},       {"%%x", "x"},
      {"%self%", "<%self%>"},       {"%brings%%VELOX_T%", "envVELOX_T%"},
  };
  for (const auto& [text, expected] : cases) {
    WString value = text;
    ReplaceVariables(value, first, second, third);
    EXPECT_EQ(value, expected) << text;
  }
  // The legacy script goes another way.
  const SimpleProperties properties = propertiesOf("a=%b%;b=2;VELOX_P=own");
  const char* const oldCases[][2] = {
      {"C:\\dir\\file", "C:/ir\\file"}, {"x%PSP%y%PSP%", "x:y"}, {"%a%%VELOX_T%", "2env"},
      {"%VELOX_P%%none%.", "own."},     {"100%", "100%"},        {"\\ab%c\\%", "/b%c\\%"},
  };
  for (const auto& [text, expected] : oldCases) {
    WString value = text;
    substitute(value, properties);
    EXPECT_EQ(value, expected) << text;
  }
}

TEST(Variables, EndTheProcessWhenTheyAreTooMany) {
  const auto references = [](int count) {
    return inChild([=] {
      WString value;
      for (int i = 0; i < count; ++i) value += "%u%";
      ReplaceVariables(value, {}, {}, {});
      std::exit(value.empty() ? 0 : 1);
    });
  };
  EXPECT_EQ(references(100).status, 0);
  EXPECT_EQ(references(101).status, 255);
  EXPECT_TRUE(references(101).has("the value that begins with : %u%%u%"));
  WString value = "%loop%";
  const Outcome endless = inChild([&] { substitute(value, propertiesOf("loop=x%loop%")); });
  EXPECT_EQ(endless.status, 255);
  EXPECT_TRUE(endless.has("begins with : %loop%")) << endless.out;
}

/// Parses a file in a process of its own, which prints the entries and what was exported.
Outcome parsed(const std::string& file, const std::string& options = {}, bool noExport = false) {
  return inChild([&] {
    const SimpleProperties entries = ParsePropertiesFile(file.c_str(), propertiesOf(options),
                                                         propertiesOf("wrapper.variable.V=var"),
                                                         propertiesOf("context=ctx"), noExport);
    std::printf("%s", joined(entries).c_str());
    for (const char* name : {"VELOX_A", "VELOX_B", "VELOX_LAST"}) {
      if (const char* value = std::getenv(name)) std::printf("env %s=%s;", name, value);
    }
  });
}

/// The entries that every file has in the end.
std::string entriesOfEveryFile(const Sandbox& sandbox) {
  return "kvf.file.dir=" + sandbox.path() + ";path.separator=:;";
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
      "a=var-ctx;b=from-include!;d=var-ctx;" + entriesOfEveryFile(sandbox) +
      "velox.env.VELOX_A=var-ctx;velox.env.VELOX_B=var;velox.env.VELOX_LAST=1;"
      "velox.include.other=x;";
  EXPECT_EQ(parsed(main).out, expected + "env VELOX_A=var-ctx;env VELOX_B=var;");
  EXPECT_EQ(parsed(main, {}, true).out, expected);
  // The shorter prefix includes at the end of the text.
  EXPECT_EQ(parsed(sandbox.write("eof.kvf", "velox.include.x=" + sandbox.path("last.kvf"))).out,
            "e=5;" + entriesOfEveryFile(sandbox));
}

TEST(PropertiesFile, FileSizesAndIncludeDepthsHaveLimits) {
  Sandbox sandbox;
  for (const std::size_t size : {65535U, 65536U, 1048575U, 1048576U}) {
    sandbox.write("size.kvf", "a=1\n#" + std::string(size - 6, 'x') + "\n");
    EXPECT_EQ(parsed(sandbox.path("size.kvf")).out,
              size == 1048576 ? "" : "a=1;" + entriesOfEveryFile(sandbox));
  }
  for (int i = 0; i < 1024; ++i) {
    const std::string next = sandbox.path(std::to_string(i + 1));
    sandbox.write(std::to_string(i), "velox.include.kvf=" + next + "\n");
  }
  sandbox.write("1024", "deepest=1\n");
  EXPECT_TRUE(parsed(sandbox.path("0")).has("deepest=1;"));
}

TEST(PropertiesFile, SomeCommandsTolerateAMissingFile) {
  const Outcome fatal = {255, "Failed to open properties file : /nowhere.kvf\n"};
  const std::pair<const char*, Outcome> cases[] = {
      {"wrapper.command=--version", {}},
      {"wrapper.command=--help", {}},
      {"wrapper.command=--uninstall;ntservice.name=n", {0, "ntservice.name=n;"}},
      {"wrapper.command=--uninstall", fatal},
      {"wrapper.command=--run", fatal},
  };
  for (const auto& [options, outcome] : cases) EXPECT_EQ(parsed("/nowhere.kvf", options), outcome);
  const Outcome noName = inChild([] { ParsePropertiesFile(nullptr, {}, {}, {}, false); });
  EXPECT_EQ(noName.out, "Failed to find properties file : \n");
}

TEST(PropertiesFile, IsNamedOrGoesByTheProgramsNameAlongThePath) {
  Sandbox sandbox;
  const std::string svc = sandbox.write("svc.kvf", "");
  const std::string other = sandbox.write("a/other.kvf", "");
  for (const char* file : {"a/in-a.kvf", "b/in-b.kvf", "b/in-a.kvf"}) sandbox.write(file, "");
  ASSERT_EQ(::chdir(sandbox.path().c_str()), 0);
  // The pieces of the path are taken as they stand.
  const char* const paths[][3] = {
      {"a:b", "in-b.kvf", "b/in-b.kvf"},    {".", "b/in-a.kvf", ""},
      {"a/;b\\", "in-b.kvf", "b/in-b.kvf"}, {"a::b", "in-b.kvf", ""},
      {"a/:b", "in-a.kvf", "a/in-a.kvf"},   {":a", "in-a.kvf", ""},
      {"a//:b", "in-a.kvf", "a//in-a.kvf"}, {"/", "etc", ""},
      {"a:", "in-a.kvf", "a/in-a.kvf"},     {"", "in-a.kvf", ""},
      {"b", "in-b.kvf", "b/in-b.kvf"},      {nullptr, "in-a.kvf", ""},
  };
  for (const auto& [path, name, found] : paths) {
    path == nullptr ? ::unsetenv("PATH") : ::setenv("PATH", path, 1);
    WString file = name;
    EXPECT_EQ(SearchPropFileInPATH(file), *found != '\0') << path;
    EXPECT_EQ(file, *found == '\0' ? name : found) << path;
  }
  ::setenv("PATH", sandbox.path("a").c_str(), 1);
  const std::string named = "wrapper.propertiesFile=";
  const std::string cases[][4] = {
      {"", "/opt/bin/svc", "svc.kvf", svc},
      {"", "svc.exe", "svc.kvf", svc},
      {"", "other", other, other},
      {"", "nowhere", "nowhere.kvf", "nowhere.kvf"},
      {named + "svc.kvf", "x", "svc.kvf", svc},
      {named + "other.kvf", "x", "other.kvf", "other.kvf"},
      {named + "a/other.kvf", "x", "a/other.kvf", "a/other.kvf"},
  };
  for (const auto& [options, program, name, fullPath] : cases) {
    const PropertiesLocation found = locatePropertiesFile(propertiesOf(options), program.c_str());
    EXPECT_EQ(found.name.view(), name);
    EXPECT_EQ(found.fullPath.view(), fullPath);
  }
  ::setenv("PATH", "/usr/bin:/bin", 1);
  ASSERT_EQ(::chdir("/"), 0);
}

TEST(PropertiesFile, TheGlobalOneFillsGapsOnly) {
  Sandbox sandbox;
  sandbox.write("global.kvf", "a=global\nb=global\nc=%a%\n");
  ASSERT_EQ(::chdir(sandbox.path().c_str()), 0);
  SimpleProperties fileSet = propertiesOf("a=main;b=");
  HandleGlobalKVFFile(fileSet, false);
  ASSERT_EQ(::chdir("/"), 0);
  EXPECT_EQ(joined(MergeProperties(propertiesOf("x=line"), fileSet)),
            "a=main;b=global;c=global;" + entriesOfEveryFile(sandbox) + "x=line;");
}

}  // namespace
