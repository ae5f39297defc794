#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

using Json = nlohmann::json;

/// Properties files that nobody would write, and that the launcher reads.
class OddLaunches {
 public:
  std::string next() {
    static const char* const keys[] = {"application.args",
                                       "application.args",
                                       "java.property.a",
                                       "java.property.%a%",
                                       " \tjava.property.b ",
                                       "velox.env.A",
                                       "velox.env.B",
                                       "java.extended.properties",
                                       "java.heap.size.max",
                                       "java.thread.stack.size",
                                       "java.class.path",
                                       "velox.class.path.extended",
                                       "commandline.argv.1",
                                       "commandline.argv.3",
                                       "application.start.dir=%kvf.file.dir%/d\n#",
                                       "velox.include.kvf=%kvf.file.dir%/part.kvf\n!",
                                       "java.library.path",
                                       "application.name",
                                       "a",
                                       "A",
                                       "#",
                                       "word"};
    static const char* const separators[] = {"=", "=", "=", " = ", ":", " ", "\t", "==", " : ", ""};
    static const char* const ends[] = {"\n", "\n", "\n", "\r\n", " \n", "\\\n", "\\\\\n", "\n\n"};
    std::string text;
    for (std::size_t count = 1 + random_() % 6; count > 0; --count)
      text += one(keys) + one(separators) + value() + one(ends);
    return text;
  }

 private:
  template <std::size_t size>
  std::string one(const char* const (&list)[size]) {
    return list[random_() % size];
  }
  std::string value() {
    static const char* const pieces[] = {"a",
                                         " ",
                                         "\t",
                                         "\"",
                                         "\\",
                                         "\\\\",
                                         "%a%",
                                         "%A%",
                                         "%B%",
                                         "%",
                                         "%%",
                                         "=",
                                         ":",
                                         "#",
                                         "!",
                                         "'",
                                         "$HOME",
                                         "\xC3\xA9",
                                         "\\n",
                                         "\\t",
                                         "--",
                                         "-x",
                                         "@@#@@",
                                         "\\%",
                                         "\\\\%",
                                         "1k",
                                         "64m",
                                         "lib/*",
                                         ";",
                                         "lib/**",
                                         "/",
                                         ".",
                                         "\\\n  ",
                                         "%kvf.file.dir%",
                                         "%path.separator%",
                                         "\"\"",
                                         "a b",
                                         "\\u0041",
                                         ",",
                                         "\r"};
    std::string text;
    for (std::size_t count = random_() % 7; count > 0; --count) text += one(pieces);
    return text;
  }

  std::mt19937 random_{17};
};

std::string inBrackets(const Json& texts) {
  std::string all;
  for (const Json& text : texts) all += "[" + text.get<std::string>() + "]\n";
  return all;
}

TEST(Agreement, ExplainSaysWhatTheLauncherDoesWithAnyFile) {
  Sandbox sandbox;
  const std::string java = sandbox.write(
      "java", "#!/bin/sh\nprintf '[%s]\\n' java \"$@\" \"A=$A\" \"B=$B\" \"$PWD\"\n", true);
  sandbox.write("d/note", "");
  sandbox.write("part.kvf", "a=part\nvelox.env.B=%a%%A%\njava.property.part=%B%\n");
  for (const char* archive : {"lib/a.jar", "lib/deep/b.jar", "lib/c.zip"})
    sandbox.write(archive, "");
  OddLaunches launches;
  int started = 0;
  for (int round = 0; round < 250; ++round) {
    const std::string text = "java.path=" + java +
                             "\njava.start.class=Main\nwrapper.command=--cmdlineJava\n" +
                             launches.next();
    SCOPED_TRACE(text);
    sandbox.write("app.kvf", text);
    const Start start = {.environment = {{"A", "outer"}}};
    const Outcome launched = sandbox.run({VELOX_WRAPPER, "--propFile", "app.kvf", "typed"}, start);
    const Outcome told = sandbox.run(
        {VELOX_KVF, "explain", "--show-secrets", "--json", "app.kvf", "--", "typed"}, start);
    ASSERT_EQ(told.status, 0) << told.out;
    const Json launch = Json::parse(told.out);
    if (!launched.has("[java]\n")) {
      EXPECT_FALSE(launch["endsWith"].empty()) << launched.out;
      continue;
    }
    ++started;
    std::map<std::string, std::string> environment = start.environment;
    for (const Json& variable : launch["environment"])
      environment[variable["name"]] = variable["value"];
    const std::string expected = "[java]\n" + inBrackets(launch["options"]) + "[Main]\n" +
                                 inBrackets(launch["arguments"]) + "[A=" + environment["A"] +
                                 "]\n[B=" + environment["B"] + "]\n[" +
                                 launch["directory"].get<std::string>() + "]\n";
    const std::regex process("(application.processid=)[0-9]+");
    EXPECT_EQ(std::regex_replace(launched.out, process, "$1PID"), expected);
  }
  EXPECT_GT(started, 150);
}

}  // namespace
