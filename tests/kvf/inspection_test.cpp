#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "config/PropertiesFile.h"
#include "kvf/launch/Inspector.h"
#include "kvf/rules/Keys.h"
#include "kvf/text/Text.h"
#include "support/Sandbox.h"

namespace {

TEST(Text, AShellReadsAWordAsItIs) {
  const Sandbox sandbox;
  for (const std::string word : {"", "plain", "two words", "it's", "$HOME", "`id`", "\"", "\\",
                                 "a\nb", "*", "~", "!x", "-n", "\xFF", "a;b", "#", "%s"}) {
    EXPECT_EQ(sandbox.run({"sh", "-c", "printf '[%s]' " + shellWord(word)}),
              (Outcome{0, "[" + word + "]"}));
  }
}

TEST(Text, AShellReadsAPrintableWordAsItIs) {
  const Sandbox sandbox;
  for (const std::string word : {"it's", "a\nb\n", "\x1B[31m", "\0027\\'$x\"`", "\xC2\x9B\xFF"}) {
    const std::string printed = printableShellWord(word);
    EXPECT_EQ(printable(printed), printed);
    EXPECT_EQ(sandbox.run({"bash", "-c", "printf '[%s]' " + printed}),
              (Outcome{0, "[" + word + "]"}));
  }
}

TEST(Text, WhatATerminalWouldObeyIsShownAsAnEscape) {
  EXPECT_EQ(shown("a\tb\r\n"), "\"a\\tb\\r\\n\"");
  EXPECT_EQ(shown("\x1B[31m\x7F"), "\"\\x1b[31m\\x7f\"");
  EXPECT_EQ(shown("caf\xC3\xA9 \xC3 \xC2\x9B"), "\"caf\xC3\xA9 \\xc3 \\xc2\\x9b\"");
  EXPECT_EQ(shown("\xE2\x82\xAC \xF0\x9F\x98\x80"), "\"\xE2\x82\xAC \xF0\x9F\x98\x80\"");
  EXPECT_EQ(shown("\xC0\x80 \xF5 \xE2\x82"), R"("\xc0\x80 \xf5 \xe2\x82")");
  EXPECT_EQ(shown(std::string(200, 'x')), "\"" + std::string(160, 'x') + "...\"");
  EXPECT_EQ(shown(std::string(159, 'x') + "\xC3\xA9"), "\"" + std::string(159, 'x') + "...\"");
  EXPECT_EQ(shownWhole(std::string(200, 'x')), "\"" + std::string(200, 'x') + "\"");
}

TEST(Text, TheLauncherReadsWhatWasMeant) {
  for (const std::string value : {"plain", "a b ", " blank", "=equals", "==", "50% of 100%",
                                  "\\%x\\", "tab\tline\nend\r", "#x!", "%HOME%"}) {
    Sandbox sandbox;
    const std::string file = sandbox.write("x.kvf", "key=" + spelledInPropertiesFile(value) + "\n");
    const SimpleProperties none;
    const auto properties = ParsePropertiesFile(file.c_str(), none, none, none, true);
    EXPECT_EQ(properties.valueOf("key"), value.c_str());
  }
}

TEST(Text, TheNearestNameIsOneThatFewCharactersMiss) {
  const std::vector<std::string_view> names = {"java.heap.size.max", "java.heap.size.min", "--run"};
  EXPECT_EQ(nearestName("java.heap.size.mx", names), "java.heap.size.max");
  EXPECT_EQ(nearestName("Java.Heap.Size.Min", names), "java.heap.size.min");
  EXPECT_EQ(nearestName("--rum", names), "--run");
  EXPECT_EQ(nearestName("acme.home", names), "");
}

TEST(Keys, AFamilyKnowsItsMembers) {
  EXPECT_STREQ(findKey("velox.env.PATH")->name, "velox.env.");
  EXPECT_STREQ(findKey("velox.include.kvf.2")->name, "velox.include.kvf");
  EXPECT_EQ(findKey("java.heap.size.max.x"), nullptr);
  EXPECT_NE(keysAsScdoc().find("*velox.env.*_NAME_\n\tThe environment variable NAME."),
            std::string::npos);
}

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

TEST(Inspection, GoesOnBehindWhatWouldEndTheLaunch) {
  Sandbox sandbox;
  const std::string file =
      sandbox.write("app.kvf", "velox.include.kvf=/gone/1\na=1\nvelox.include.kvf=/gone/2\nb=2\n");
  const Inspection inspection = inspectFile(file);
  ASSERT_EQ(inspection.failures().size(), 2);
  EXPECT_EQ(inspection.failures()[0].at.line, 1);
  EXPECT_EQ(inspection.failures()[1].at.line, 3);
  EXPECT_EQ(inspection.failures()[1].message, "Failed to open properties file : /gone/2");
  EXPECT_EQ(inspection.valueOf("b"), "2");
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
                            "\" cannot be looked at: no end of it came within 2 seconds\n"}));
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

}  // namespace
