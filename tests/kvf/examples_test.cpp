#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "kvf/formats/Archive.h"
#include "kvf/package/ApplicationTexts.h"
#include "kvf/rules/Rule.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

std::string keyOf(const std::string& line) {
  return line.substr(0, line.find_first_of("=: \t"));
}

std::string sumOf(std::string_view text, std::size_t times) {
  std::string sum;
  for (; times > 0; --times) sum += text;
  return sum;
}

/// The folder that an example stands in, and what its commands find along PATH.
class ExampleFolder {
 public:
  explicit ExampleFolder(const Example& example) : example_(example) {
    // Others reach the files, as those of a service.
    fs::permissions(fs::path(sandbox_.path()).parent_path(), fs::perms(0755));
    sandbox_.write("acme.kvf", properties());
    for (const char* folder : {"lib", "bin"}) fs::create_directory(sandbox_.path(folder));
    fs::copy_file(VELOX_ACME_JAR, sandbox_.path("lib/acme.jar"));
    fs::copy_file(VELOX_NATIVE_DIRECTORY "/libentry3.so", sandbox_.path("libacme.so"));
    fs::create_symlink(VELOX_KVF, sandbox_.path("bin/kvf"));
    fs::create_symlink(VELOX_WRAPPER, sandbox_.path("bin/wrapper"));
    for (const ExampleFile& file : example.files) {
      if (file.path != nullptr) add(file);
    }
  }

  /// What `kvf check` finds.
  [[nodiscard]] nlohmann::json findings() const {
    return nlohmann::json::parse(run(checkWith("--json")).out).at("findings");
  }
  /// How many lines of acme.kvf stand before those of the example.
  [[nodiscard]] std::ptrdiff_t ownLines() const {
    const std::string text = properties();
    const std::string own = text.substr(0, text.rfind(example_.lines));
    return std::count(own.begin(), own.end(), '\n');
  }
  /// Mends what takes no decision; true when that was something.
  [[nodiscard]] bool fix() const { return run(checkWith("--fix")).has(" fixed\n"); }
  /// What the launch would use, by whichever name the folder has.
  [[nodiscard]] std::string meaning() const {
    const nlohmann::json whole = nlohmann::json::parse(run("kvf explain --json acme.kvf").out);
    nlohmann::json properties;
    for (const auto& property : whole["properties"])
      properties[property["key"].get<std::string>()] = property["value"];
    std::string text = properties.dump() + whole["options"].dump() + whole["arguments"].dump() +
                       whole["environment"].dump();
    for (std::size_t at = 0; (at = text.find(sandbox_.path(), at)) != std::string::npos;)
      text.replace(at, sandbox_.path().size(), "HERE");
    return text;
  }
  /// What the launcher does with it.
  [[nodiscard]] Outcome launch() const {
    const std::string command = example_.command;
    const std::size_t dashes = command.find(" -- ");
    return run(dashes == std::string::npos ? "wrapper --propFile acme.kvf"
                                           : command.substr(dashes + 4));
  }

 private:
  [[nodiscard]] std::string checkWith(const std::string& option) const {
    std::string command = example_.command;
    return command.insert(command.find("check") + 5, " " + option);
  }
  [[nodiscard]] std::string properties() const {
    std::string lines(example_.lines);
    if (!lines.empty() && !example_.openEnd) lines += "\n";
    if (example_.whole) return lines;
    return with(
        "java.library=%JAVA_HOME%/lib/server/libjvm.so\n"
        "velox.class.path.extended=%kvf.file.dir%/lib\njava.start.class=com.acme.Main\n",
        lines);
  }

  /// The sound lines whose keys the example's own lack, and those.
  static std::string with(const std::string& sound, const std::string& lines) {
    std::istringstream own("\n" + lines);
    Texts keys;
    for (std::string line; std::getline(own, line);) keys.push_back(keyOf(line));
    std::string all;
    std::istringstream others(sound);
    for (std::string line; std::getline(others, line);) {
      if (std::find(keys.begin(), keys.end(), keyOf(line)) == keys.end()) all.append(line) += '\n';
    }
    return all + lines;
  }

  void add(const ExampleFile& file) {
    using Kind = ExampleFile::Kind;
    const std::string path = sandbox_.path(file.path);
    fs::create_directories(fs::path(path).parent_path());
    if (file.kind == Kind::text) {
      sandbox_.write(file.path, sumOf(file.content, file.times));
    } else if (file.kind == Kind::link) {
      fs::create_symlink(file.content, path);
    } else if (file.kind == Kind::startScript) {
      ApplicationFolder acme;
      acme.name = "acme";
      sandbox_.write(file.path, startScript(acme), true);
    } else if (file.kind == Kind::unit) {
      const std::string sound =
          "Type=exec\nPassEnvironment=JAVA_HOME\nSuccessExitStatus=143\n"
          "ExecStart=%Y/bin/wrapper --propFile %Y/acme.kvf\n";
      sandbox_.write(file.path, "[Service]\n" + with(sound, std::string(file.content) + "\n"));
    } else if (file.kind == Kind::archive) {
      fs::copy_file(VELOX_ACME_JAR, path);
    } else {
      std::string bytes = Archive(VELOX_ACME_JAR).read("com/acme/Main.class").value();
      if (file.kind == Kind::newerClass) {
        bytes[7] = 44 + 60;
      } else {
        constexpr std::string_view object = "java/lang/Object";
        bytes.replace(bytes.find(object), object.size(), "com/acme/BaseApp");
      }
      sandbox_.write(file.path, bytes);
    }
  }

  [[nodiscard]] Outcome run(const std::string& command) const {
    return sandbox_.run({"sh", "-c", command},
                        {.environment = {jvmInside,
                                         {"HOME", "/home/acme"},
                                         {"JAVA_HOME", modernJavaHome(sandbox_.path())},
                                         {"PATH", sandbox_.path("bin") + ":/usr/bin:/bin"}}});
  }

  const Example& example_;
  Sandbox sandbox_;
};

/// Each once: two releases of Java may say the same of an option.
Texts rulesOf(const nlohmann::json& findings) {
  std::set<std::string> rules;
  for (const auto& finding : findings) rules.insert(finding["rule"]);
  return {rules.begin(), rules.end()};
}

/// The options of the examples are not those of every release: Java 8 has no modules and no -Xlog,
/// and takes no archive without another option; two are deprecated from 10 on and gone from 24 on.
bool isAboutAnotherRelease(const Rule& rule) {
  const std::string id = rule.id;
  if (id == "module-missing" || id == "log-selection" || id == "class-data-archive")
    return javaRelease() < 9;
  if (id != "option-deprecated" && id != "jvm-deprecates") return false;
  return javaRelease() < 10 || javaRelease() > 23;
}

TEST(Examples, EachHasItsMistakeAndTheRemedyHasNone) {
  for (const Rule* rule : allRules()) {
    if (isAboutAnotherRelease(*rule)) continue;
    SCOPED_TRACE(rule->id);
    const ExampleFolder folder(rule->example);
    const nlohmann::json findings = folder.findings();
    ASSERT_EQ(rulesOf(findings), Texts{rule->id}) << findings.dump(2);
    const bool isInLines = findings[0]["file"] == "acme.kvf" && !rule->example.lines.empty();
    if (isInLines && !rule->example.whole) {
      EXPECT_GT(findings[0]["line"], folder.ownLines());
    }
    const nlohmann::json none = ExampleFolder(rule->remedy).findings();
    // The first releases of Java 25 are reported with any cache.
    if (none.dump().find("fixed in 25.0.4") != std::string::npos) continue;
    EXPECT_EQ(rulesOf(none), Texts{}) << none.dump(2);
  }
}

TEST(Examples, AFixDoesWhatTheRemedySays) {
  std::size_t fixes = 0;
  for (const Rule* rule : allRules()) {
    const ExampleFolder folder(rule->example);
    if (!folder.findings()[0].contains("fix")) continue;
    EXPECT_TRUE(folder.fix()) << rule->id;
    EXPECT_FALSE(folder.fix()) << rule->id;
    EXPECT_EQ(rulesOf(folder.findings()), Texts{}) << rule->id;
    EXPECT_EQ(folder.meaning(), ExampleFolder(rule->remedy).meaning()) << rule->id;
    ++fixes;
  }
  EXPECT_GE(fixes, 16);
}

TEST(Examples, TheApplicationRunsUnlessAFindingIsFatal) {
  for (const Rule* rule : allRules()) {
    for (const Example* example : {&rule->example, &rule->remedy}) {
      // What systemd would do is not tried here.
      const std::string_view command = example->command;
      if (command.find("--kill") != command.npos || command.ends_with(".service")) continue;
      // Nor is a debugger there to connect.
      if (example->lines.find("server=y,address") != example->lines.npos) continue;
      const ExampleFolder folder(*example);
      const nlohmann::json findings = folder.findings();
      const bool fatal = std::any_of(findings.begin(), findings.end(), [](const auto& finding) {
        return finding["fatal"].template get<bool>();
      });
      const Outcome outcome = folder.launch();
      // For remote management Java 8 wants a system whose own name has an address.
      if (outcome.has("Local host name unknown")) continue;
      EXPECT_EQ(outcome.has("acme runs\n") || outcome.has("registered"), !fatal)
          << rule->id << findings.dump(2) << outcome.out;
    }
  }
}

}  // namespace
