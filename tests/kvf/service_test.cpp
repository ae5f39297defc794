#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "kvf/commands/Launches.h"
#include "kvf/package/ApplicationTexts.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Rule.h"
#include "kvf/service/ServiceUnit.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

const std::string folder = VELOX_UNITS "/";

std::string textOf(const fs::path& file) {
  std::ifstream stream(file);
  return std::string((std::istreambuf_iterator<char>(stream)), {});
}

TEST(ServiceUnit, HasTheWordsThatSystemdHas) {
  const ServiceUnit unit = ServiceUnit::load(folder + "words@o.service");
  std::string text;
  for (const ServiceCommand& command : unit.commands()) {
    for (const std::string& argument : command.arguments) text += "[" + argument + "]";
    text += "\n";
  }
  EXPECT_EQ(text, textOf(folder + "words.expected"));
}

TEST(ServiceUnit, ValuesAsSystemdReadsThem) {
  using namespace std::chrono_literals;
  EXPECT_EQ(unitBytes("1.5K"), 1536U);
  EXPECT_EQ(unitBytes("512 M"), 536870912U);
  EXPECT_EQ(unitBytes("infinity"), unlimitedBytes);
  EXPECT_EQ(unitBytes("64m"), std::nullopt);
  EXPECT_EQ(unitLimit("8M:64M")->hard, 67108864U);
  EXPECT_EQ(unitTime("1min 30s"), 90s);
  EXPECT_EQ(unitTime("2h30m"), 150min);
  EXPECT_EQ(unitTime("250ms"), 250ms);
  EXPECT_EQ(unitTime("soon"), std::nullopt);
  EXPECT_EQ(unitSignal("SIGTERM"), 15);
  EXPECT_EQ(unitSignal("2"), 2);
  EXPECT_EQ(unitSignal("SIGN"), std::nullopt);
}

/// An application of `kvf new`, with the units beside it.
class UnitFolder {
 public:
  UnitFolder() {
    fs::copy(folder, sandbox_.path(), fs::copy_options::recursive);
    fs::create_directory(sandbox_.path("bin"));
    fs::create_directory(sandbox_.path("lib"));
    fs::create_symlink(VELOX_WRAPPER, sandbox_.path("bin/wrapper"));
    fs::copy_file(VELOX_ACME_JAR, sandbox_.path("lib/acme.jar"));
    ApplicationFolder acme;
    acme.name = "acme";
    acme.jvmLibrary = jvmLibrary();
    acme.startClass = "com.acme.Main";
    acme.archives = {"acme.jar"};
    sandbox_.write("bin/acme", startScript(acme), true);
    const std::string file = propertiesFile(acme);
    sandbox_.write("acme.kvf", file + "java.heap.size.max=64m\n");
    sandbox_.write("variables.kvf", file +
                                        "java.property.a=%WHO%\n# %GONE% in a comment\n"
                                        "#: unset-variable: %GONE%\njava.property.b=%GONE%\n");
    sandbox_.write("piped.kvf", file +
                                    "processID.file.name=%RUNTIME_DIRECTORY%/acme.pid\n"
                                    "java.thread.stack.size=32m\n");
    sandbox_.write("stopmethod.kvf", file + "application.stop.signals=TERM\n");
  }

  [[nodiscard]] std::string path(const std::string& name) const { return sandbox_.path(name); }

 private:
  Sandbox sandbox_;
};

/// "LINE RULE" of the findings.
Texts findingsIn(const std::string& unit) {
  Texts texts;
  const std::vector<Inspection> launches = inspectUnit(unit);
  for (const Finding& finding : check(launches, {})) {
    texts.push_back(fs::path(finding.fileName()).filename().string() + ":" +
                    std::to_string(finding.line()) + " " + finding.rule->id + ": " + finding.text);
  }
  return texts;
}

/// The start of each finding as the comments "#: RULE: TEXT" above lines of a file have it; several
/// above one line are about that line.
void addExpected(const fs::path& file, Texts& expected) {
  std::istringstream lines(textOf(file));
  Texts pending;
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (line.starts_with("#: ")) {
      pending.push_back(line.substr(3));
      continue;
    }
    for (const std::string& text : pending)
      expected.push_back(file.filename().string() + ":" + std::to_string(number) + " " + text);
    pending.clear();
  }
}

/// A finding "PLACE RULE: ... TEXT ...".
bool isAsExpected(const std::string& finding, const std::string& expected) {
  const std::size_t text = expected.find(": ") + 2;
  return finding.starts_with(expected.substr(0, text)) &&
         finding.find(expected.substr(text)) != std::string::npos;
}

TEST(UnitRules, FindTheMistakesThatCommentsAnnounceAndNothingElse) {
  const UnitFolder acme;
  for (const auto& entry : fs::directory_iterator(acme.path(""))) {
    const std::string name = entry.path().filename();
    if (!name.ends_with(".service") || name == "words@.service") continue;
    SCOPED_TRACE(name);
    Texts expected;
    addExpected(entry.path(), expected);
    for (const char* more : {".d/10-start.conf", ".d/20-stop.conf"})
      addExpected(entry.path().string() + more, expected);
    if (name == "dropin.service") addExpected(acme.path("variables.kvf"), expected);

    Texts findings = findingsIn(entry.path());
    for (const std::string& one : expected) {
      const auto found = std::find_if(findings.begin(), findings.end(), [&](const auto& finding) {
        return isAsExpected(finding, one);
      });
      if (found == findings.end()) {
        ADD_FAILURE() << "not found: " << one;
      } else {
        findings.erase(found);
      }
    }
    EXPECT_EQ(findings, Texts());
  }
}

}  // namespace
