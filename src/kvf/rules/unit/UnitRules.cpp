#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <unistd.h>

#include "kvf/launch/JvmOptions.h"
#include "kvf/rules/Rule.h"
#include "kvf/rules/ShellSyntax.h"
#include "kvf/rules/unit/UnitSubject.h"
#include "kvf/service/Account.h"
#include "kvf/text/Text.h"

// What systemd makes of a service unit that starts the launcher. The statements about JVMs were
// made with those of a booted systemd; examples/service has them as a script.

namespace {

namespace fs = std::filesystem;

// --- what systemd reads -------------------------------------------------------------------------

void syntax(const Inspection& inspection, Report& report) {
  if (!inspection.unit) return;
  for (const UnitNote& note : inspection.unit->notes()) {
    Finding& finding = report(Inspection::unitPosition(note.at), note.text);
    finding.fatal = note.weight == UnitNote::Weight::refusesUnit;
    finding.harmless = note.weight == UnitNote::Weight::mayBeMeant;
  }
}

/// What only a shell would treat as more than arguments.
void shell(const Inspection& inspection, Report& report) {
  if (!inspection.unit) return;
  for (const ServiceCommand& command : inspection.unit->commands()) {
    std::string word = redirectionIn(command.arguments);
    for (const std::string& argument : command.arguments)
      if (argument == "|" || argument == "||" || argument == "&&") word = argument;
    if (word.empty()) continue;
    const auto at = std::find(command.arguments.begin(), command.arguments.end(), word);
    report(Inspection::unitPosition(
               command.places[static_cast<std::size_t>(at - command.arguments.begin())]),
           concat({"systemd runs no shell, and ", shown(word), " becomes an argument: write ",
                   "StandardOutput= for a file; a service needs no &"}));
  }
}

// --- what keeps it from starting ----------------------------------------------------------------

/// True for output to a file in a folder that is not there.
bool lacksFolder(const UnitSubject& subject, const UnitSetting& setting) {
  const std::string value = subject.unit.value(setting.key);
  for (const std::string_view start : {"append:", "file:", "truncate:"}) {
    if (!value.starts_with(start)) continue;
    const fs::path file = value.substr(start.size());
    return !subject.launch.surroundings.hasFolder(file.parent_path());
  }
  return false;
}

bool isRelative(const std::string& folder) {
  return !folder.starts_with('/') && folder != "~";
}

constexpr SettingRow startRows[] = {
    {"Type",
     [](const UnitSubject& subject, const UnitSetting&) { return subject.type() == "forking"; },
     "waits for the process to fork and end, which the launcher never does: after TimeoutStartSec= "
     "systemd kills it; write Type=exec"},
    {"Type",
     [](const UnitSubject& subject, const UnitSetting&) {
       const std::string access = subject.unit.value("NotifyAccess");
       return subject.type().starts_with("notify") && !subject.hostsJvm() &&
              subject.launch.startsJvm() && access != "all";
     },
     "takes READY=1 only from the launcher, and --cmdlineJava runs the application in a child: "
     "write --run, or NotifyAccess=all"},
    {"WorkingDirectory",
     [](const UnitSubject& subject, const UnitSetting&) {
       std::string folder = subject.unit.value("WorkingDirectory");
       if (folder.starts_with('-')) folder.erase(0, 1);
       return isRelative(folder);
     },
     "is not an absolute path, and systemd refuses the unit: begin it with /, or write ~ alone for "
     "the user's home"},
    {"WorkingDirectory",
     [](const UnitSubject& subject, const UnitSetting&) {
       const LaunchSurroundings& surroundings = subject.launch.surroundings;
       return !subject.unit.surroundings().directoryMayBeMissing &&
              !isRelative(surroundings.directory) &&
              !surroundings.hasFolder(surroundings.directory);
     },
     "names a folder that does not exist, and the start ends with status 200/CHDIR: create it, or "
     "let systemd do it, with StateDirectory="},
    {"StandardOutput", lacksFolder,
     "is in a folder that does not exist, and the start ends with status 209/STDOUT: create the "
     "folder"},
    {"StandardError", lacksFolder,
     "is in a folder that does not exist, and the start ends with status 222/STDERR: create the "
     "folder"},
    {"User",
     [](const UnitSubject& subject, const UnitSetting&) {
       const std::string name = subject.unit.value("User");
       const bool isNumber = name.find_first_not_of("0123456789") == std::string::npos;
       return !isNumber && !subject.unit.isOn("DynamicUser") && !accountOf(name);
     },
     "names no user of this machine, and the start ends with status 217/USER: add the user, or "
     "write DynamicUser=yes"},
    {"Group",
     [](const UnitSubject& subject, const UnitSetting&) {
       const std::string name = subject.unit.value("Group");
       return !name.empty() && !subject.unit.isOn("DynamicUser") && !groupOf(name);
     },
     "names no group of this machine, and the start ends with status 216/GROUP: add the group"},
};

/// Two commands of a service that is not Type=oneshot; a drop-in has to empty the list first.
void reportSecondStart(const UnitSubject& subject, Report& report) {
  const std::vector<const UnitSetting*> starts = subject.unit.all("ExecStart");
  if (starts.size() < 2 || subject.type() == "oneshot") return;
  report.fatal(subject.placeOf(*starts.back()),
               "a second ExecStart= is for Type=oneshot only, and systemd refuses the unit: put an "
               "empty ExecStart= in front of one that replaces the first");
}

void start(const Inspection& inspection, Report& report) {
  const std::optional<UnitSubject> subject = unitSubjectOf(inspection);
  if (!subject) return;
  reportRows(startRows, *subject, true, report);
  reportSecondStart(*subject, report);
}

void program(const Inspection& inspection, Report& report) {
  if (!inspection.unit || ::access(inspection.programFile.c_str(), X_OK) == 0) return;
  const std::string& name =
      inspection.programFile.empty() ? inspection.commandLine[0] : inspection.programFile;
  const bool hasVariable = name.find('$') != std::string::npos;
  report.fatal(inspection.argumentPlaces.front(),
               concat({"there is no program ", shown(name),
                       hasVariable ? ", as systemd replaces no variable there" : "",
                       ", and the start ends with status 203/EXEC: correct the path"}));
}

// --- what ends a JVM ----------------------------------------------------------------------------

/// True when the filter kills a process for mincore, which no set of system calls but @known has.
bool filtersMincore(const UnitSubject& subject, const UnitSetting& /*last*/) {
  if (!subject.unit.value("SystemCallErrorNumber").empty()) return false;
  std::optional<bool> isDenied;
  for (const UnitSetting* setting : subject.unit.all("SystemCallFilter")) {
    const bool isDenyList = setting->value.starts_with('~');
    // The first one says what happens to the calls that are not named.
    if (!isDenied) isDenied = !isDenyList;
    const UnitWords list = splitUnitWords(setting->value.substr(isDenyList ? 1 : 0));
    for (const UnitWord& word : list.words)
      if (word.text == "mincore" || word.text == "@known") isDenied = isDenyList;
  }
  return isDenied.value_or(false);
}

constexpr std::uint64_t classSpace = std::uint64_t{1} << 30U;
/// Of a JVM with the smallest collector, before main runs.
constexpr std::uint64_t fewestThreads = 13;

bool isBelow(const UnitSubject& subject, const UnitSetting& setting, std::uint64_t least) {
  const auto limit = unitLimit(subject.unit.value(setting.key));
  return limit && limit->soft < least;
}

constexpr SettingRow hardeningRows[] = {
    {"MemoryDenyWriteExecute",
     [](const UnitSubject& subject, const UnitSetting& setting) {
       return subject.unit.isOn(setting.key);
     },
     "ends a JVM, which compiles into memory that it writes and executes, with \"Failed to mark "
     "memory page as executable\": remove it"},
    {"SystemCallFilter", filtersMincore,
     "kills a JVM in the launcher's process, with SIGSYS, since it lacks mincore: add mincore"},
    {"LimitAS",
     [](const UnitSubject& subject, const UnitSetting& setting) {
       return isBelow(subject, setting, maximumHeap(subject.launch).value_or(0) + classSpace);
     },
     "is less than the address space that a JVM reserves, 1G for classes and the heap, and it does "
     "not start: remove it, and bound memory by MemoryMax="},
    {"LimitDATA",
     [](const UnitSubject& subject, const UnitSetting& setting) {
       return isBelow(subject, setting, maximumHeap(subject.launch).value_or(0));
     },
     "is less than the heap, which counts as data, and the JVM ends when it grows: remove it, and "
     "bound memory by MemoryMax="},
    {"TasksMax",
     [](const UnitSubject& subject, const UnitSetting& setting) {
       return isBelow(subject, setting, fewestThreads);
     },
     "is less than the 13 threads that a JVM has before main runs, and it does not start: write "
     "more"},
    {"LimitNPROC",
     [](const UnitSubject& subject, const UnitSetting& setting) {
       return isBelow(subject, setting, fewestThreads);
     },
     "is less than the 13 threads that a JVM has before main runs, and it does not start: remove "
     "it, and bound them by TasksMax="},
};

void hardening(const Inspection& inspection, Report& report) {
  const std::optional<UnitSubject> subject = unitSubjectOf(inspection);
  if (subject && subject->launch.startsJvm()) reportRows(hardeningRows, *subject, true, report);
}

// --- the check in the unit ----------------------------------------------------------------------

struct OwnCheck {
  const ServiceCommand& command;
  bool countsErrorsOnly = false;
  std::vector<std::string> checked;  ///< what follows "--"
};

std::optional<OwnCheck> ownCheckOf(const ServiceCommand& command) {
  const auto& arguments = command.arguments;
  if (command.key != "ExecStartPre" || command.ignoresFailure) return std::nullopt;
  if (fs::path(command.program).filename() != "kvf" || arguments.size() < 2 ||
      arguments[1] != "check")
    return std::nullopt;
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  OwnCheck check = {command, false, {}};
  for (auto argument = arguments.begin(); argument != dashes; ++argument) {
    const bool isNext = *argument == "--severity" && argument + 1 != dashes;
    const std::string& level = isNext ? *(argument + 1) : *argument;
    if (level == "--severity=error" || (isNext && level == "error")) check.countsErrorsOnly = true;
  }
  if (dashes != arguments.end()) check.checked.assign(dashes + 1, arguments.end());
  return check;
}

void checkInUnit(const Inspection& inspection, Report& report) {
  const std::optional<UnitSubject> subject = unitSubjectOf(inspection);
  if (!subject) return;
  const auto& commands = subject->unit.commands();
  const auto start = std::find_if(commands.begin(), commands.end(),
                                  [](const auto& command) { return command.key == "ExecStart"; });
  for (const ServiceCommand& command : commands) {
    const std::optional<OwnCheck> own = ownCheckOf(command);
    if (!own) continue;
    const Position at = Inspection::unitPosition(command.places.front());
    if (!own->countsErrorsOnly) {
      report(at,
             "a mere warning of this check keeps the service from starting: write kvf check "
             "--severity=error");
    }
    if (start != commands.end() && !own->checked.empty() && own->checked != start->arguments)
      report(at,
             "the command line that is checked here is not that of ExecStart=: repeat that one "
             "after --");
  }
}

constexpr Rule rules[] = {
    {.id = "unit-syntax",
     .severity = Severity::error,
     .summary = "a setting of a systemd unit that systemd ignores or refuses",
     .explanation = "systemd has rules of its own for quotes, escapes, %x and $NAME. What it "
                    "cannot read it mostly ignores, with a line in the journal, and starts the "
                    "service without it. An EnvironmentFile= is not a shell script either.",
     .example = exampleOfUnit("Environment=GREETING = hello"),
     .remedy = exampleOfUnit("Environment=\"GREETING=hello world\""),
     .check = syntax},
    {.id = "unit-shell",
     .severity = Severity::warning,
     .summary = "redirections and the like in a command of a unit",
     .explanation = "No shell reads Exec...=: > FILE, |, && and a last & reach the program.",
     .example =
         exampleOfUnit("ExecStart=%Y/bin/wrapper --propFile %Y/acme.kvf --run > /var/log/acme.log"),
     .remedy = exampleOfUnit("ExecStart=%Y/bin/wrapper --propFile %Y/acme.kvf --run\n"
                             "StandardOutput=append:/var/log/acme.log"),
     .check = shell},
    {.id = "unit-start",
     .severity = Severity::error,
     .summary = "a unit that systemd cannot start",
     .explanation =
         "Before the program runs, systemd changes to the user and the folder that the unit names. "
         "The launcher stays in the foreground, so that Type=exec is right; Type=forking waits for "
         "a parent that never ends.",
     .example = exampleOfUnit("Type=forking"),
     .remedy = exampleOfUnit("Type=exec"),
     .check = start},
    {.id = "unit-program",
     .severity = Severity::error,
     .summary = "a unit whose program is not there",
     .explanation = "A program without a folder is looked for in the usual folders, not along a "
                    "PATH that the unit sets.",
     .example = exampleOfUnit("ExecStart=%Y/sbin/wrapper --propFile %Y/acme.kvf"),
     .remedy = exampleOfUnit("ExecStart=%Y/bin/wrapper --propFile %Y/acme.kvf"),
     .check = program},
    {.id = "unit-hardening",
     .severity = Severity::error,
     .summary = "a restriction of a unit that ends a JVM",
     .explanation =
         "A JVM writes machine code and executes it, reserves far more addresses than memory, and "
         "starts a dozen threads before main. In the launcher's process it also looks at the stack "
         "of the first thread with mincore, which @system-service lacks.",
     .example = exampleOfUnit("MemoryDenyWriteExecute=yes"),
     .remedy = exampleOfUnit("MemoryDenyWriteExecute=no"),
     .check = hardening},
    {.id = "unit-check",
     .severity = Severity::warning,
     .summary = "an ExecStartPre= with kvf check that stops the service, or checks something else",
     .explanation =
         "By default kvf check ends with status 1 even for a warning, such as that for a "
         "class-data archive that no longer fits after an update, and the service does not start.",
     .example = exampleOfUnit("ExecStartPre=%Y/bin/kvf check %Y/acme.kvf"),
     .remedy = exampleOfUnit("ExecStartPre=%Y/bin/kvf check --severity=error %Y/acme.kvf"),
     .check = checkInUnit},
};

}  // namespace

std::span<const Rule> unitRules() {
  return rules;
}
