#include <algorithm>
#include <cstdlib>
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

/// What the unit's environment has under these names, as "A=1 B=2".
std::string environmentOf(const std::string& lines, const Texts& names,
                          const std::string& name = "acme.service") {
  Sandbox sandbox;
  sandbox.write("one.env", "E=1\nF='a b'\n");
  sandbox.write("two.env", "E=2\n");
  std::string text = lines;
  for (std::size_t at = 0; (at = text.find("HERE", at)) != std::string::npos;)
    text.replace(at, 4, sandbox.path());
  const ServiceUnit unit =
      ServiceUnit::load(sandbox.write(name, "[Service]\n" + text + "ExecStart=/bin/true\n"));
  std::string found;
  for (const std::string& one : names) {
    const auto variable = unit.surroundings().environment.find(one);
    if (variable != unit.surroundings().environment.end())
      found += (found.empty() ? "" : " ") + one + "=" + variable->second;
  }
  return found;
}

TEST(ServiceUnit, HasTheEnvironmentThatSystemdGives) {
  ::setenv("KVF_TEST_PASSED", "passed", 1);
  ::unsetenv("KVF_TEST_GONE");
  const Texts ofUser = {"HOME", "LOGNAME", "SHELL", "USER"};
  const struct {
    std::string lines;
    Texts names;
    std::string environment;
  } rows[] = {
      {"", ofUser, ""},
      {"User=root\n", {"HOME", "LOGNAME", "USER"}, "HOME=/root LOGNAME=root USER=root"},
      {"User=nobody\nUser=\n", ofUser, ""},
      {"DynamicUser=yes\n", ofUser, "HOME=/ LOGNAME=acme SHELL=/usr/sbin/nologin USER=acme"},
      {"User=root\nEnvironment=HOME=/own\n", {"HOME"}, "HOME=/own"},
      {"User=root\nUnsetEnvironment=HOME\n", {"HOME", "USER"}, "USER=root"},
      {"PassEnvironment=KVF_TEST_PASSED KVF_TEST_GONE\n",
       {"KVF_TEST_PASSED", "KVF_TEST_GONE"},
       "KVF_TEST_PASSED=passed"},
      {"Environment=KVF_TEST_PASSED=own\nPassEnvironment=KVF_TEST_PASSED\n",
       {"KVF_TEST_PASSED"},
       "KVF_TEST_PASSED=own"},
      // The files come after the settings, in their order, whichever is written first.
      {"EnvironmentFile=HERE/one.env\nEnvironment=E=0 F=0 G=0\nEnvironmentFile=-HERE/two.env\n",
       {"E", "F", "G"},
       "E=2 F=a b G=0"},
      {"EnvironmentFile=HERE/o?e.*\nEnvironmentFile=-HERE/gone.env\n", {"E"}, "E=1"},
      {"EnvironmentFile=HERE/one.env\nEnvironmentFile=\n", {"E"}, ""},
      {"Environment=A=1\nEnvironment=\nEnvironment=B=2\n", {"A", "B"}, "B=2"},
      {"Environment=A=1 \"B=b c\" 'C=d\\x20e' F\n", {"A", "B", "C"}, "A=1 B=b c C=d e"},
      {"Environment=A=1 B=\\q C=3\n", {"A", "B", "C"}, "A=1"},
      {"Environment=A=%%p B=%p C=%n\n", {"A", "B", "C"}, "A=%p B=acme C=acme.service"},
      {"RuntimeDirectory=acme acme/x\nLogsDirectory=l:m\n",
       {"RUNTIME_DIRECTORY", "LOGS_DIRECTORY", "STATE_DIRECTORY"},
       "RUNTIME_DIRECTORY=/run/acme:/run/acme/x LOGS_DIRECTORY=/var/log/l"},
      {"LoadCredential=a:/b\n",
       {"CREDENTIALS_DIRECTORY"},
       "CREDENTIALS_DIRECTORY=/run/credentials/acme.service"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(environmentOf(row.lines, row.names), row.environment) << row.lines;
}

TEST(ServiceUnit, OddNamesAndCommands) {
  EXPECT_EQ(environmentOf("Environment=I=%I\n", {"I"}, "acme@\\x41-b.service"), "I=A/b");
  for (const char* name : {"-a.service", "a-.service", "--.service", "acme@\\x2\".service"})
    EXPECT_EQ(environmentOf("Environment=A=1\n", {"A"}, name), "A=1") << name;
  Sandbox sandbox;
  const ServiceUnit unit = ServiceUnit::load(
      sandbox.write("acme.service", "[Service]\nExecStart=@/bin/a\nExecStart=@/bin/b $GONE\n"));
  ASSERT_EQ(unit.commands().size(), 1U) << "systemd refuses the first";
  EXPECT_EQ(unit.commands()[0].arguments, Texts{""});
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
    sandbox_.write("secret.kvf", "acme.secret=1\nword\n");
    sandbox_.write("secrets/one.kvf", "acme.secret=1\n");
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

/// What is found in a unit with these lines after sound ones, and in the properties file that it
/// starts with such lines.
struct UnitRow {
  std::string lines;
  Texts found;  ///< "RULE TEXT", where the text is in the finding's
  std::string properties = {};
};

const std::string runAcme = "ExecStart=\nExecStart=%Y/bin/wrapper --propFile %Y/acme.kvf ";

const std::string includesCredential =
    "velox.include.kvf=%CREDENTIALS_DIRECTORY%/s.kvf\njava.property.b=%acme.secret%\n";

const UnitRow unitRows[] = {
    {"", {}},
    // Types and starts.
    {"Type=simple\n", {}},
    {"Type=forking\n", {"unit-start Type=forking waits"}},
    {"Type=notify\n", {}},
    {"Type=notify-reload\n" + runAcme + "--cmdlineJava\n", {"unit-start takes READY=1 only"}},
    {"Type=notify\nNotifyAccess=all\n" + runAcme + "--cmdlineJava\n", {}},
    {"ExecStart=%Y/bin/wrapper --propFile %Y/acme.kvf\n", {"unit-start a second ExecStart="}},
    {"Type=oneshot\nExecStart=%Y/bin/wrapper --propFile %Y/acme.kvf\n", {}},
    {"User=0\nGroup=0\n", {}},
    {"User=nosuch\nDynamicUser=yes\nBindPaths=%Y\n", {}},
    {"Group=nosuch\n", {"unit-start 216/GROUP"}},
    {"WorkingDirectory=etc\n", {"unit-start is not an absolute path"}},
    {"WorkingDirectory=-etc\n", {"unit-start is not an absolute path"}},
    {"WorkingDirectory=-/gone\n", {}},
    {"WorkingDirectory=~\nUser=root\n", {}},
    {"StateDirectory=acme-gone\nWorkingDirectory=/var/lib/acme-gone\n", {}},
    {"StandardError=file:/gone/x\n", {"unit-start 222/STDERR"}},
    {"StandardOutput=truncate:/var/log/x\nStandardError=journal\n", {}},
    {"StandardOutput=append:/gone/x\nStandardOutput=journal\n", {}},
    {runAcme + "a | b\n", {"unit-shell \"|\" becomes an argument"}},
    {runAcme + "\"a|b\" '>x'\n", {}},
    {runAcme + "&\n", {"unit-shell \"&\" becomes an argument"}},
    {"ExecStartPre=@/bin/true\n", {"unit-syntax argv[0]"}},
    {"ExecStart=\nExecStart=@%Y/bin/wrapper acme --propFile %Y/acme.kvf --run\n", {}},
    {"WorkingDirectory=%Y\nExecStart=\nExecStart=%Y/bin/wrapper --propFile acme.kvf --run\n", {}},
    // What is there at the start.
    {"ExecStartPre=/usr/bin/mkdir -p /run/acme-gone\n",
     {},
     "processID.file.name=/run/acme-gone/acme.pid\n"},
    {"ExecStartPre=+/bin/sh -c 'exec install -d -m 755 /run/acme-gone'\n",
     {},
     "processID.file.name=/run/acme-gone/acme.pid\n"},
    {"ExecStartPre=/bin/ls /run/acme-gone\n",
     {"process-id-file there is no folder"},
     "processID.file.name=/run/acme-gone/acme.pid\n"},
    {"LoadCredential=s.kvf:%Y/secret.kvf\n", {"no-separator drops the line"}, includesCredential},
    {"LoadCredential=s:%Y/secrets\n",
     {},
     "velox.include.kvf=%CREDENTIALS_DIRECTORY%/s_one.kvf\njava.property.b=%acme.secret%\n"},
    {"LoadCredential=s.kvf:/gone\n", {"missing-include s.kvf"}, includesCredential},
    {"LoadCredential=s.kvf:/gone\nSetCredential=s.kvf:acme.secret=1\n", {}, includesCredential},
    {"SetCredential=s.kvf:acme.other=1\n",
     {"unresolved-reference acme.secret"},
     includesCredential},
    {"LoadCredentialEncrypted=s.kvf:/etc/acme\n", {}, includesCredential},
    {"ImportCredential=s.*\n", {}, includesCredential},
    {"ImportCredential=t.*\n", {"missing-include s.kvf"}, includesCredential},
    // Data of the application is none of the launch.
    {"BindPaths=/srv:/opt/data\n" + runAcme + "--run /opt/data/x\n",
     {},
     "java.property.data=/opt/data\n"},
    // Several commands for one instance.
    {"ExecStop=%Y/bin/wrapper --propFile %Y/acme.kvf --kill Normal\nExecStopPost=%Y/bin/wrapper "
     "--propFile %Y/acme.kvf --version\n",
     {},
     "processID.file.name=/run/acme.pid\n"},
    // Restrictions.
    {"MemoryDenyWriteExecute=no\n", {}},
    {"SystemCallFilter=@system-service\nSystemCallFilter=mincore\n", {}},
    {"SystemCallFilter=@system-service\nSystemCallErrorNumber=EPERM\n", {}},
    {"SystemCallFilter=@known\n", {}},
    {"SystemCallFilter=~@privileged\n", {}},
    {"SystemCallFilter=~mincore\n", {"unit-hardening since it lacks mincore"}},
    {"SystemCallFilter=@known\nSystemCallFilter=~mincore\n",
     {"unit-hardening since it lacks mincore"}},
    {"LimitAS=1087M\n", {"unit-hardening 1G for classes and the heap"}},
    {"LimitAS=1088M\n", {}},
    {"LimitAS=infinity\n", {}},
    {"LimitDATA=63M\n", {"unit-hardening counts as data"}},
    {"LimitDATA=64M:1G\n", {}},
    {"TasksMax=12\n", {"unit-hardening 13 threads"}},
    {"TasksMax=13\nLimitNPROC=13\n", {}},
    {"TasksMax=12\n" + runAcme + "--version\n", {}},
    // Stops and reloads.
    {"KillSignal=SIGINT\n", {"unit-stop write SuccessExitStatus=130"}},
    {"KillSignal=HUP\nSuccessExitStatus=129\n", {}},
    {"KillSignal=SIGUSR1\n", {"unit-stop runs neither shutdown hooks"}},
    {"KillSignal=3\n", {"unit-stop print its threads"}},
    {"KillMode=mixed\n", {}},
    {"TimeoutStopSec=1\n", {}},
    {"ExecReload=/bin/kill -HUP $MAINPID\n", {"unit-stop SIGHUP ends a JVM"}},
    {"ExecReload=/bin/kill --signal=TERM $MAINPID\n", {}},
    {"ExecReload=/bin/kill $MAINPID\n", {"unit-stop SIGTERM ends a JVM"}},
    {"ExecReload=/bin/kill -QUIT $MAINPID\nExecReload=/bin/true -HUP\n", {}},
    {"ExecStop=/bin/kill -s KILL $MAINPID\n", {"unit-stop without its shutdown hooks"}},
    {"ExecStop=/bin/kill -TERM $MAINPID\n", {}},
    {"SuccessExitStatus=\nSuccessExitStatus=1 143\n", {}},
    {"SuccessExitStatus=\nSuccessExitStatus=1430\n", {"unit-stop write SuccessExitStatus=143"}},
    {"SuccessExitStatus=\n", {}, "java.extended.properties=%java.extended.properties% -Xrs\n"},
    {"SuccessExitStatus=\nType=oneshot\n", {}},
    {"SuccessExitStatus=\n" + runAcme + "--cmdlineJava\n", {}},
    {"", {"unit-stop is not among application.stop.signals=INT"}, "application.stop.signals=INT\n"},
    {"SuccessExitStatus=\nTimeoutStopSec=5\n", {}, "application.stop.signals=TERM\n"},
    {"TimeoutStopSec=4999ms\n", {"unit-stop little time"}, "application.stop.signals=TERM\n"},
    {"TimeoutStopSec=0\n", {}, "application.stop.signals=TERM\n"},
    // What it can read.
    {"User=65534\n",
     {"unit-hides 65534 may not read"},
     "java.class.path=%java.class.path%:/root\n"},
    {"PrivateTmp=disconnected\n", {"unit-hides empty /tmp"}},
    {"PrivateTmp=yes\nBindReadOnlyPaths=%Y\n", {}},
    {"PrivateTmp=yes\nBindPaths=%Y:/srv\n", {"unit-hides empty /tmp"}},
    {"DynamicUser=yes\n", {"unit-hides empty /tmp"}},
    {"InaccessiblePaths=-%Y/lib\n", {"unit-hides covers it"}},
    {"InaccessiblePaths=%Y/li\n", {}},
    {"InaccessiblePaths=/gone +%Y/acme.kvf\n", {"unit-hides covers it"}},
    {"TemporaryFileSystem=%Y/lib:ro\n", {"unit-hides covers it"}},
    {"ProtectHome=yes\n", {}},
    {"ProtectHome=tmpfs\n",
     {"unit-hides shows the service nothing of /home"},
     "java.class.path=%java.class.path%:/root\n"},
    {"NoExecPaths=/\nExecPaths=/usr\n", {}},
    {"NoExecPaths=/usr\n", {"unit-hides cannot be loaded"}},
    // What it can write.
    {"ProtectSystem=strict\n",
     {"unit-writes ProtectSystem="},
     "processID.file.name=/run/acme.pid\n"},
    {"ProtectSystem=strict\nReadWritePaths=/run/\n", {}, "processID.file.name=/run/acme.pid\n"},
    {"ProtectSystem=full\n", {}, "processID.file.name=/run/acme.pid\n"},
    {"ProtectSystem=full\n", {"unit-writes ProtectSystem="}, "processID.file.name=/etc/acme.pid\n"},
    {"ProtectSystem=yes\n", {}, "processID.file.name=/etc/acme.pid\n"},
    {"ProtectSystem=yes\n", {"unit-writes ProtectSystem="}, "processID.file.name=/usr/acme.pid\n"},
    {"ProtectHome=read-only\n",
     {"unit-writes ProtectHome="},
     "processID.file.name=/home/acme.pid\n"},
    {"ReadOnlyPaths=/run\n",
     {"unit-writes ReadOnlyPaths="},
     "processID.file.name=/run/../run/a.pid\n"},
    {"ReadOnlyPaths=/ru\n", {}, "processID.file.name=/run/acme.pid\n"},
    {"ProtectSystem=strict\nRuntimeDirectory=acme\n",
     {},
     "processID.file.name=%RUNTIME_DIRECTORY%/acme.pid\n"},
    // The check in the unit itself.
    {"ExecStartPre=%Y/bin/kvf check --severity=error -- %Y/bin/wrapper --propFile %Y/acme.kvf "
     "--run\n",
     {}},
    {"ExecStartPre=%Y/bin/kvf check --severity=all %Y/acme.kvf\n", {"unit-check a mere warning"}},
    {"ExecStartPre=%Y/bin/kvf check --severity error -- %Y/bin/wrapper --propFile %Y/acme.kvf\n",
     {"unit-check is not that of ExecStart="}},
    {"ExecStartPre=%Y/bin/kvf jvm\n", {}},
};

TEST(UnitRules, AreSilentAboutFilesThatOnlyTheServiceSees) {
  const UnitFolder acme;
  const auto refusalOf = [&](const std::string& lines) -> std::string {
    std::ofstream(acme.path("row.service")) << "[Service]\nExecStart=%Y/bin/wrapper --propFile "
                                               "/opt/acme/acme.kvf\n"
                                            << lines;
    try {
      inspectUnit(acme.path("row.service"));
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return {};
  };
  const std::string refusal =
      "starts its commands with other files at \"/opt/acme\", by BindPaths=";
  EXPECT_NE(refusalOf("BindPaths=/etc:/mnt -%Y:/opt/acme/:rbind\n").find(refusal),
            std::string::npos);
  const std::string ofJvm = fs::path(jvmLibrary()).parent_path();
  EXPECT_NE(refusalOf(runAcme + "\nBindReadOnlyPaths=/srv:" + ofJvm + "\n").find(ofJvm),
            std::string::npos);
  EXPECT_NE(refusalOf("RootDirectory=/srv\n").find("in another root"), std::string::npos);
  EXPECT_EQ(refusalOf("BindPaths=%Y:/opt/acme-1 /opt/acme:/opt/acme /opt/acme\n"), "");
}

TEST(UnitRules, KnowTheBoundsOfWhatIsWrong) {
  const UnitFolder acme;
  const std::string properties = textOf(acme.path("acme.kvf"));
  // What is where the check runs does not matter.
  fs::create_directories(acme.path("elsewhere/acme.kvf"));
  const fs::path here = fs::current_path();
  fs::current_path(acme.path("elsewhere"));
  for (const UnitRow& row : unitRows) {
    SCOPED_TRACE(row.lines + row.properties);
    std::ofstream(acme.path("acme.kvf")) << properties << row.properties;
    std::ofstream(acme.path("row.service")) << "[Service]\nSuccessExitStatus=143\nExecStart=%Y/bin/"
                                               "wrapper --propFile %Y/acme.kvf --run\n"
                                            << row.lines;
    Texts found = findingsIn(acme.path("row.service"));
    for (const std::string& one : row.found) {
      const std::size_t blank = one.find(' ');
      const auto at = std::find_if(found.begin(), found.end(), [&](const std::string& finding) {
        return finding.find(" " + one.substr(0, blank) + ": ") != std::string::npos &&
               finding.find(one.substr(blank + 1)) != std::string::npos;
      });
      if (at == found.end()) {
        ADD_FAILURE() << "not found: " << one;
      } else {
        found.erase(at);
      }
    }
    EXPECT_EQ(found, Texts());
  }
  fs::current_path(here);
}

}  // namespace
