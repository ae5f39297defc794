#include "config/PropertiesFile.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "config/Commands.h"
#include "support/Sandbox.h"

namespace {

const Entries variables = {{"wrapper.variable.V", "var"}};
const Entries context = {{"context", "ctx"}};

class PropertiesFile : public testing::Test {
 protected:
  /// Parses a file as the first of its process. The directory, which every set has, is left out.
  [[nodiscard]] SimpleProperties parse(const std::string& name, const Entries& options = {}) const {
    gProps = {};
    return ParsePropertiesFile(sandbox_.path(name).c_str(), props(options), props(variables),
                               props(context), false);
  }
  /// The entries that every file has in the end, and others.
  [[nodiscard]] Entries with(Entries entries) const {
    entries.insert(entries.end(), {{"kvf.file.dir", sandbox_.path()}, {"path.separator", ":"}});
    return entries;
  }

  Sandbox sandbox_;
};

TEST_F(PropertiesFile, ValuesUseVariablesThenEarlierEntriesThenTheContext) {
  sandbox_.write("app.kvf", "a=1\na=%a%-%V%-%context%\nb=%later%\nlater=2\n");
  EXPECT_EQ(parse("app.kvf"), with({{"a", "1-var-ctx"}, {"b", ""}, {"later", "2"}}));
}

TEST_F(PropertiesFile, AnIncludeReplacesEarlierEntries) {
  sandbox_.write("sub/inc.kvf", "b=included\nc=%a%\nkept=%kvf.file.dir%\n");
  sandbox_.write("app.kvf",
                 "a=1\nb=lost\nvelox.include.kvf.1=%kvf.file.dir%/sub/inc.kvf\nb=%b%!\n"
                 "velox.include.other=x\n");
  EXPECT_EQ(parse("app.kvf"), with({{"a", "1"},
                                    {"b", "included!"},
                                    {"c", "1"},
                                    {"kept", sandbox_.path()},
                                    {"velox.include.other", "x"}}));
}

TEST_F(PropertiesFile, AtTheEndOfTheTextAShorterPrefixIncludes) {
  sandbox_.write("inc.kvf", "a=1\n");
  sandbox_.write("app.kvf", "velox.include.x=" + sandbox_.path("inc.kvf"));
  EXPECT_EQ(parse("app.kvf"), with({{"a", "1"}}));
}

TEST_F(PropertiesFile, EnvironmentEntriesAreExportedAsTheyAreRead) {
  sandbox_.write("inc.kvf", "velox.env.INNER=%V%\n");
  sandbox_.write("app.kvf",
                 "velox.env.OUTER=1\nvelox.env.TWICE=%OUTER%\\\\%OUTER\\\\%\n"
                 "velox.include.kvf=%kvf.file.dir%/inc.kvf\nseen=%INNER%\nvelox.env.LAST=1");
  EXPECT_TRUE(parse("app.kvf").contains("velox.env.LAST"));
  EXPECT_STREQ(std::getenv("OUTER"), "1");
  EXPECT_STREQ(std::getenv("INNER"), "var");
  EXPECT_STREQ(std::getenv("TWICE"), "11");
  EXPECT_EQ(std::getenv("LAST"), nullptr);
}

TEST_F(PropertiesFile, ItsDirectoryIsThatOfTheFirstFile) {
  sandbox_.write("sub/inc.kvf", "");
  sandbox_.write("sub\\file.kvf", "");
  (void)parse("sub/inc.kvf");
  EXPECT_EQ(gProps, (Entries{{"kvf.file.dir", sandbox_.path("sub")}}));
  (void)parse("sub\\file.kvf");
  EXPECT_EQ(gProps, (Entries{{"kvf.file.dir", sandbox_.path("sub")}}));
  gProps = {};
  std::filesystem::current_path(sandbox_.path("sub"));
  ParsePropertiesFile("inc.kvf", {}, {}, {}, false);
  EXPECT_EQ(gProps, (Entries{{"kvf.file.dir", sandbox_.path("sub")}}));
}

TEST_F(PropertiesFile, OfAMebibyteHasNoEntries) {
  for (const std::size_t size : {65535U, 65536U, 65537U, 1048575U, 1048576U}) {
    sandbox_.write("size.kvf", "a=1\n#" + std::string(size - 6, 'x') + "\n");
    const Entries entries = size < 1048576 ? with({{"a", "1"}}) : Entries();
    EXPECT_EQ(parse("size.kvf"), entries) << size;
  }
}

TEST_F(PropertiesFile, AMissingOneEndsTheProcess) {
  const Outcome fatal = {255,
                         "Failed to open properties file : " + sandbox_.path("missing.kvf") + "\n"};
  for (const Command& command : commands) {
    if (command.missingFile == MissingFile::isTolerated) continue;
    EXPECT_EQ(inChild([&] {
                (void)parse("missing.kvf", {{"wrapper.command", command.name}});
              }),
              fatal)
        << command.name;
  }
  EXPECT_EQ(inChild([&] { (void)parse("missing.kvf", {{"ntservice.name", "n"}}); }), fatal);
  EXPECT_EQ(inChild([] { ParsePropertiesFile(nullptr, {}, {}, {}, false); }),
            (Outcome{255, "Failed to find properties file : \n"}));
}

TEST_F(PropertiesFile, SomeCommandsNeedNone) {
  EXPECT_EQ(parse("missing.kvf", {{"wrapper.command", "--version"}}), Entries());
  EXPECT_EQ(parse("missing.kvf", {{"wrapper.command", "--help"}}), Entries());
  const Entries uninstall = {{"wrapper.command", "--uninstall"}, {"ntservice.name", "n"}};
  EXPECT_EQ(parse("missing.kvf", uninstall), (Entries{{"ntservice.name", "n"}}));
}

}  // namespace
