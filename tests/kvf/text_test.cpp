#include "kvf/text/Text.h"

#include <string>

#include <gtest/gtest.h>

#include "config/PropertiesFile.h"
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

}  // namespace
