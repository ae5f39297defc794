#include <algorithm>
#include <cstring>
#include <iostream>
#include <regex>

#include "e2e/WrapperTest.h"

namespace {

struct Walk {
  const char* name;
  std::string properties;
  Texts arguments;
};

void PrintTo(const Walk& walk, std::ostream* out) {
  *out << walk.name;
}

/// What may stand in place of the rest of the output when an allocation fails: one line, perhaps
/// between that with a library's name and that of the adjuster's parent.
const std::regex complaint(
    "(Lib name [^\n]+\n)?"
    "(SDKC-OUT_OF_MEMORY : ERROR : Memory allocation failed"
    "|Failed to load shared library, library name : [^\n]+"
    "|Failed to open properties file : [^\n]+"
    "|Process cannot be killed because its process ID file \" pid \" cannot be read [^\n]+"
    "|error,java run script created eror,file name is:\n[^\n]+)\n"
    "(Adjustment failed.\n|3 closed at the end\n)?");

int statusAfter(const std::string& line) {
  if (line.starts_with("error,java run script")) return 0;
  return line.starts_with("Process cannot be killed") ? 1 : 255;
}

/// What follows the lines that both texts begin with.
std::string afterCommonLines(const std::string& text, const std::string& whole) {
  std::size_t line = 0;
  for (std::size_t i = 0; i < std::min(text.size(), whole.size()) && text[i] == whole[i]; ++i) {
    if (text[i] == '\n') line = i + 1;
  }
  return text.substr(line);
}

class MemoryWalk : public WrapperTest, public testing::WithParamInterface<Walk> {
 protected:
  void SetUp() override {
    sandbox_.write("java", "#!/bin/sh\nprintf '%s\\n' \"$@\" \"env[$PROBE]\"\n", true);
    sandbox_.write("lib/a.jar", "");
    sandbox_.write("part.kvf", "velox.env.PROBE=%path.separator%\n");
    sandbox_.write("global.kvf", "java.property.global=1\n");
    sandbox_.write("pid", "99999999");
    kvf(GetParam().properties);
  }

  /// How the launcher ends when an allocation fails, and those after it too if so told. The process
  /// ID is taken out of the output, and the complaint about its file, after which a launch goes on.
  Outcome run(long failAt, bool failOn) {
    sandbox_.write("count", std::string(sizeof(long), '\0'));
    Start start = {.environment = {{"LD_PRELOAD", VELOX_NATIVE_DIRECTORY "/libfailing_malloc.so"},
                                   {"FAIL_COUNT", sandbox_.path("count")},
                                   {"FAIL_AT", std::to_string(failAt)}}};
    if (failOn) start.environment["FAIL_ON"] = "1";
    Outcome outcome = wrapper(GetParam().arguments, start);
    const std::regex processId("file pid can not access|(processid=)[0-9]+");
    outcome.out = std::regex_replace(outcome.out, processId, "$1");
    return outcome;
  }

  /// The allocations of the run before.
  [[nodiscard]] long count() const {
    long count = 0;
    std::memcpy(&count, sandbox_.read("count").data(), sizeof count);
    return count;
  }
};

TEST_P(MemoryWalk, EndsWithOneLineWhicheverAllocationFails) {
  const Outcome whole = run(0, false);
  const long allocations = count();
  ASSERT_GT(allocations, 50);
  for (const bool failOn : {false, true}) {
    for (long at = 1; at <= allocations; ++at) {
      SCOPED_TRACE(std::to_string(at) + (failOn ? " and on" : ""));
      const Outcome outcome = run(at, failOn);
      if (outcome == whole) continue;
      const std::string rest = afterCommonLines(outcome.out, whole.out);
      EXPECT_TRUE(std::regex_match(rest, complaint)) << outcome.out;
      EXPECT_EQ(outcome.status, statusAfter(rest)) << outcome.out;
    }
  }
  std::cout << GetParam().name << ": " << 2 * allocations << " failed allocations\n";
}

const std::string javaPath = "java.path=./java\njava.start.class=Main\n";
const std::string library = "application.library=" VELOX_NATIVE_DIRECTORY "/libentry3.so\n";
const std::string jvm = "java.library=" VELOX_NATIVE_DIRECTORY "/librefusing_jvm.so\n";

INSTANTIATE_TEST_SUITE_P(
    , MemoryWalk,
    testing::Values(
        Walk{"help", "", {"--help"}}, Walk{"version", "", {"--version"}},
        Walk{"install", "", {"--install"}},
        Walk{"kill", "processID.file.name=pid\n", {"--kill", "Normal"}},
        Walk{"generateScript", javaPath + "application.args=\"a b\"\n", {"--generateScript"}},
        Walk{"cmdlineJava",
             javaPath + "velox.class.path.extended=lib/**\nvelox.include.kvf=part.kvf\n",
             {"--cmdlineJava"}},
        Walk{"debug", "velox.env.A=%PATH%\n", {"--query", "--debug"}},
        Walk{"native", library + "application.args=x\nprocessID.file.name=pid\n", {"--run"}},
        Walk{"java", jvm + "java.start.class=M\njava.extended.properties=-a b\n", {"--run"}},
        Walk{"adjuster", jvm + "velox.adjuster.class.path=x.jar\n", {"--run"}}),
    [](const auto& walk) { return walk.param.name; });

}  // namespace
