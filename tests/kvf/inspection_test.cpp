#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "kvf/launch/Inspector.h"
#include "kvf/launch/LaunchJvm.h"
#include "support/Sandbox.h"

namespace {

TEST(Inspection, LooksAsTheSecondRunDoesAndLeavesNoTrace) {
  Sandbox sandbox;
  const std::string file =
      sandbox.write("app.kvf",
                    "early=%LATER%\nvelox.env.LATER=%place%x\nplace=/opt\nvelox.env.TWICE=%place%\n"
                    "application.start.dir=/\n");
  const auto directory = std::filesystem::current_path();
  const Inspection inspection = inspectFile(file);
  EXPECT_EQ(inspection.valueOf("early"), "x") << "exported by the first run";
  EXPECT_EQ(inspection.outer.merged.valueOf("early"), "");
  EXPECT_EQ(inspection.plan.exported.at("LATER"), "x");
  EXPECT_EQ(inspection.plan.exported.at("TWICE"), "/opt");
  EXPECT_EQ(inspection.plan.directory, "/");
  EXPECT_EQ(std::getenv("LATER"), nullptr);
  EXPECT_EQ(std::filesystem::current_path(), directory);
  EXPECT_FALSE(inspectFile(sandbox.write("none.kvf", "a=1\n")).inner)
      << "nothing of the file before";
}

TEST(Inspection, ContinuesAfterWhatWouldEndTheLaunch) {
  Sandbox sandbox;
  std::string text = "velox.include.kvf=/gone/1\na=1\nvelox.include.kvf=/gone/2\nb=2\nc=";
  for (int i = 0; i < 101; ++i) text += "%a%";
  const Inspection inspection = inspectFile(sandbox.write("app.kvf", text + "\nd=4\n"));
  ASSERT_EQ(inspection.failures().size(), 3);
  EXPECT_EQ(inspection.failures()[0].at.line, 1);
  EXPECT_EQ(inspection.failures()[1].at.line, 3);
  EXPECT_EQ(inspection.failures()[1].message, "Failed to open properties file : /gone/2");
  EXPECT_EQ(inspection.valueOf("b"), "2");
  EXPECT_EQ(inspection.failures()[2].at.line, 5);
  EXPECT_EQ(inspection.valueOf("d"), "4");
}

TEST(Inspection, ReadsEachFileOnceAndGivenTextsNotAtAll) {
  Sandbox sandbox;
  sandbox.write("part.kvf", "a=old\n");
  const std::string file = sandbox.path("unsaved.kvf");
  const GivenTexts given = {
      {file, "velox.env.X=%a%\nvelox.include.kvf=%kvf.file.dir%/./part.kvf\nb=%X%%a%\n"},
      {sandbox.path("part.kvf"), "a=new\n"}};
  EXPECT_EQ(inspectFile(file, {}, given).valueOf("b"), "new");
  // The second of the two assemblies would find the pipe empty.
  const std::string pipe =
      "printf 'velox.env.X=1\nb=%%X%%\n' | exec " VELOX_KVF " explain --key b /dev/stdin";
  EXPECT_TRUE(sandbox.run({"sh", "-c", pipe}).has("b = \"1\"\n"));
  ASSERT_EQ(::mkfifo(sandbox.path("open.kvf").c_str(), 0600), 0);
  EXPECT_EQ(sandbox.run({VELOX_KVF, "check", "open.kvf"}),
            (Outcome{2, "kvf: \"" + sandbox.path("open.kvf") +
                            "\" cannot be read: its end did not come within 2 seconds\n"}));
}

TEST(Inspection, HasThePositionsOfTheRunThatWouldEnd) {
  Sandbox sandbox;
  sandbox.write("part.kvf", "velox.include.kvf=/gone\n");
  const Inspection inspection = inspectFile(sandbox.write(
      "app.kvf", "velox.include.kvf=%kvf.file.dir%/%X%part.kvf\nvelox.env.X=other\n"));
  EXPECT_EQ(inspection.nameOf(inspection.failures().at(0).at), sandbox.path("part.kvf") + ":1");
}

TEST(Inspection, TooManyEntriesEndTheLaunchAtAnInclude) {
  Sandbox sandbox;
  std::string entries;
  for (int i = 0; i < 200000; ++i) entries += "a=1\n";
  sandbox.write("part.kvf", entries);
  std::string includes;
  for (int i = 0; i < 8; ++i) includes += "velox.include.kvf=%kvf.file.dir%/part.kvf\n";
  const Inspection inspection = inspectFile(sandbox.write("app.kvf", includes));
  ASSERT_EQ(inspection.failures(Failure::Stage::include).size(), 1);
  EXPECT_EQ(inspection.failures()[0].at.file, 0);
  EXPECT_GT(inspection.failures()[0].at.line, 1);
  EXPECT_FALSE(inspection.knowsAllKeys());
}

TEST(Inspection, HasPositionsOfContinuedAndIncludedLines) {
  Sandbox sandbox;
  sandbox.write("part.kvf", "\n\nc=3\n");
  const std::string file = sandbox.write(
      "app.kvf", "# note\n\na=one\\\ntwo\nb=2\r\nvelox.include.kvf=%kvf.file.dir%/part.kvf\nd=4\n");
  const Inspection inspection = inspectFile(file);
  const std::string folder = sandbox.path();
  EXPECT_EQ(inspection.nameOf(inspection.positionOf("a")), file + ":3");
  EXPECT_EQ(inspection.nameOf(inspection.positionOf("b")), file + ":5");
  EXPECT_EQ(inspection.nameOf(inspection.positionOf("c")), folder + "/part.kvf:3");
  EXPECT_EQ(inspection.nameOf(inspection.positionOf("d")), file + ":7");
}

TEST(LaunchJvm, TheProgramJavaIsThatOfTheLaunch) {
  Sandbox sandbox;
  for (const char* program : {"start/java", "start/bin/java", "bin/java"})
    sandbox.write(program, "", true);
  sandbox.write("plain/java", "");
  std::filesystem::create_directories(sandbox.path("folder/java"));
  const struct {
    std::string program;
    std::string found;  ///< in the sandbox; empty: nothing
  } rows[] = {
      // Along PATH alone, whatever lies in the directory of the application.
      {"java", "bin/java"},
      {"./java", "start/java"},
      {"bin/java", "start/bin/java"},
      {sandbox.path("plain/java"), ""},
      {sandbox.path("folder/java"), ""},
      {"gone", ""},
  };
  for (const auto& row : rows) {
    const Inspection inspection = inspectFile(sandbox.write(
        "app.kvf",
        "wrapper.command=--cmdlineJava\napplication.start.dir=%kvf.file.dir%/start\n"
        "velox.env.PATH=%kvf.file.dir%/plain:%kvf.file.dir%/folder:%kvf.file.dir%/bin\n"
        "java.path=" +
            row.program + "\n"));
    const std::string found = javaProgramOf(inspection);
    EXPECT_EQ(found.empty() ? "" : std::filesystem::path(found).lexically_normal(),
              row.found.empty() ? "" : sandbox.path(row.found))
        << row.program;
  }
}

}  // namespace
