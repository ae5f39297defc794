#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <utility>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include "foundation/PropertyKeys.h"
#include "hosting/StopSignals.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/rules/Rule.h"
#include "kvf/rules/UnitSubject.h"
#include "kvf/text/Text.h"

// What systemd makes of a service unit that starts the launcher. The statements about JVMs were
// made with those of a booted systemd; examples/service has them as a script.

namespace {

namespace fs = std::filesystem;

std::string typeOf(const UnitSubject& subject) {
  const std::string type = subject.unit.value("Type");
  return type.empty() ? "simple" : type;
}

/// A setting that is wrong for a launch, and why: "KEY=VALUE" and the text are a sentence.
struct SettingRow {
  const char* key;
  bool (*isWrong)(const UnitSubject& subject, const UnitSetting& setting);
  const char* text;
};

void reportRows(std::span<const SettingRow> rows, const UnitSubject& subject, bool fatal,
                Report& report) {
  for (const SettingRow& row : rows) {
    const UnitSetting* setting = subject.unit.last(row.key);
    if (setting == nullptr || !row.isWrong(subject, *setting)) continue;
    report.fatalIf(fatal, subject.placeOf(*setting),
                   concat({row.key, "=", printable(setting->value), " ", row.text}));
  }
}

// --- what systemd reads -------------------------------------------------------------------------

void syntax(const Inspection& inspection, Report& report) {
  if (!inspection.unit) return;
  for (const UnitNote& note : inspection.unit->notes())
    report.fatalIf(note.refusesUnit, Inspection::unitPosition(note.at), note.text);
}

// --- what keeps it from starting ----------------------------------------------------------------

constexpr SettingRow startRows[] = {
    {"Type",
     [](const UnitSubject& subject, const UnitSetting&) { return typeOf(subject) == "forking"; },
     "waits for the process to leave a child behind and end, which the launcher never does: after "
     "TimeoutStartSec= systemd kills it; write Type=exec"},
    {"Type",
     [](const UnitSubject& subject, const UnitSetting&) {
       const std::string access = subject.unit.value("NotifyAccess");
       return typeOf(subject).starts_with("notify") && !subject.hostsJvm() &&
              subject.launch.startsJvm() && access != "all";
     },
     "takes READY=1 from the launcher alone, and --cmdlineJava runs the application in a child: "
     "write --run, or NotifyAccess=all"},
    {"WorkingDirectory",
     [](const UnitSubject& subject, const UnitSetting&) {
       const LaunchSurroundings& surroundings = subject.launch.surroundings;
       return !subject.unit.surroundings().directoryMayBeMissing &&
              !surroundings.hasFolder(surroundings.directory);
     },
     "names no folder that is there, and the start ends with status 200/CHDIR: make it, or let "
     "systemd, with StateDirectory="},
    {"User",
     [](const UnitSubject& subject, const UnitSetting&) {
       const std::string name = subject.unit.value("User");
       const bool isNumber = name.find_first_not_of("0123456789") == std::string::npos;
       return !isNumber && !subject.unit.isOn("DynamicUser") && ::getpwnam(name.c_str()) == nullptr;
     },
     "names no user of this machine, and the start ends with status 217/USER: add the user, or "
     "write DynamicUser=yes"},
    {"Group",
     [](const UnitSubject& subject, const UnitSetting&) {
       const std::string name = subject.unit.value("Group");
       const bool isNumber = name.find_first_not_of("0123456789") == std::string::npos;
       return !isNumber && !subject.unit.isOn("DynamicUser") && ::getgrnam(name.c_str()) == nullptr;
     },
     "names no group of this machine, and the start ends with status 216/GROUP: add the group"},
};

/// Two commands of a service that is not Type=oneshot; a drop-in has to empty the list first.
void reportSecondStart(const UnitSubject& subject, Report& report) {
  const std::vector<const UnitSetting*> starts = subject.unit.all("ExecStart");
  if (starts.size() < 2 || typeOf(subject) == "oneshot") return;
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
  report.fatal(inspection.argumentPlaces.front(),
               concat({"there is no program ", shown(inspection.programFile),
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

// --- how it stops -------------------------------------------------------------------------------

int stopSignal(const UnitSubject& subject) {
  return unitSignal(subject.unit.value("KillSignal")).value_or(SIGTERM);
}

std::string nameOfSignal(int signal) {
  const char* name = ::sigabbrev_np(signal);
  return name == nullptr ? std::to_string(signal) : name;
}

/// True when the signal calls the application's stop method.
bool callsStopMethod(const UnitSubject& subject, int signal) {
  const auto value = subject.launch.value(keys::stopSignals);
  if (!value) return false;
  const StopSignalNames names = StopSignalNames::parse(*value, ApplicationKind::java);
  return std::find(names.signals.begin(), names.signals.end(), signal) != names.signals.end();
}

bool isOneOf(int signal, std::initializer_list<int> signals) {
  return std::find(signals.begin(), signals.end(), signal) != signals.end();
}

bool hasSuccessStatus(const ServiceUnit& unit, int status) {
  const std::vector<std::string> words = unit.words("SuccessExitStatus");
  return std::find(words.begin(), words.end(), std::to_string(status)) != words.end();
}

bool leavesSignals(const Inspection& launch) {
  const auto& options = launch.plan.options;
  return std::find(options.begin(), options.end(), "-Xrs") != options.end();
}

constexpr SettingRow stopRows[] = {
    {"KillSignal",
     [](const UnitSubject& subject, const UnitSetting&) { return stopSignal(subject) == SIGQUIT; },
     "makes a JVM print its threads and go on, until it is killed after TimeoutStopSec=: remove "
     "it, and systemd sends SIGTERM"},
    {"KillSignal",
     [](const UnitSubject& subject, const UnitSetting&) {
       const int signal = stopSignal(subject);
       return !callsStopMethod(subject, signal) &&
              !isOneOf(signal, {SIGTERM, SIGINT, SIGHUP, SIGQUIT});
     },
     "runs neither shutdown hooks nor a stop method: remove it, and systemd sends SIGTERM"},
    {"KillMode",
     [](const UnitSubject& subject, const UnitSetting& setting) {
       return subject.unit.value(setting.key) == "none";
     },
     "lets the JVM run on when the service is stopped: remove it"},
    {"TimeoutStopSec",
     [](const UnitSubject& subject, const UnitSetting& setting) {
       const auto time = unitTime(subject.unit.value(setting.key));
       const bool isShort =
           time && *time > std::chrono::milliseconds(0) && *time < std::chrono::seconds(5);
       return isShort && callsStopMethod(subject, stopSignal(subject));
     },
     "leaves the stop method that little time before the JVM is killed: give it what it needs, "
     "90 s without the line"},
};

/// The signal that a kill of the main process sends; nothing for another command.
std::optional<int> signalSent(const ServiceCommand& command) {
  if (fs::path(command.program).filename() != "kill") return std::nullopt;
  for (std::size_t i = 1; i < command.arguments.size(); ++i) {
    std::string argument = command.arguments[i];
    if (!argument.starts_with('-')) continue;
    argument.erase(0, argument.find_first_not_of('-'));
    if (argument == "s" && i + 1 < command.arguments.size()) argument = command.arguments[i + 1];
    return unitSignal(argument);
  }
  return SIGTERM;
}

void reportReload(const UnitSubject& subject, Report& report) {
  for (const ServiceCommand& command : subject.unit.commands()) {
    const std::optional<int> signal = signalSent(command);
    if (command.key != "ExecReload" || !signal) continue;
    if (!isOneOf(*signal, {SIGHUP, SIGTERM, SIGINT})) continue;
    report(Inspection::unitPosition(command.places.front()),
           concat({"SIG", nameOfSignal(*signal), " ends a JVM, so that a reload stops the ",
                   "service: remove ExecReload="}));
  }
}

void reportMissingSuccess(const UnitSubject& subject, Report& report) {
  const int signal = stopSignal(subject);
  const bool endsByItself = isOneOf(signal, {SIGTERM, SIGINT, SIGHUP});
  constexpr int bySignal = 128;
  const int status = bySignal + signal;
  if (!endsByItself || callsStopMethod(subject, signal) || leavesSignals(subject.launch)) return;
  if (typeOf(subject) == "oneshot" || hasSuccessStatus(subject.unit, status)) return;
  report(subject.placeOf("SuccessExitStatus"),
         concat({"a JVM that SIG", nameOfSignal(signal), " ends has status ",
                 std::to_string(status), ", which makes each stop of the service a failure: write ",
                 "SuccessExitStatus=", std::to_string(status)}));
}

void reportOtherStopSignal(const UnitSubject& subject, Report& report) {
  const auto value = subject.launch.value(keys::stopSignals);
  const int signal = stopSignal(subject);
  if (!value || callsStopMethod(subject, signal)) return;
  report(subject.placeOf("KillSignal"),
         concat({"systemd stops the service by SIG", nameOfSignal(signal), ", which is not among ",
                 keys::stopSignals, "=", printable(*value), " (",
                 subject.launch.nameOf(subject.launch.positionOf(keys::stopSignals)),
                 "), so that no stop method runs: add it there"}));
}

void stop(const Inspection& inspection, Report& report) {
  const std::optional<UnitSubject> subject = unitSubjectOf(inspection);
  if (!subject || !subject->hostsJvm()) return;
  reportRows(stopRows, *subject, false, report);
  reportReload(*subject, report);
  reportMissingSuccess(*subject, report);
  reportOtherStopSignal(*subject, report);
}

// --- the check in the unit ----------------------------------------------------------------------

struct OwnCheck {
  const ServiceCommand& command;
  bool countsErrorsOnly = false;
  std::vector<std::string> checked;  ///< what stands behind "--"
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
    if (!own->checked.empty() && own->checked != start->arguments)
      report(at,
             "the command line that is checked here is not that of ExecStart=: repeat that "
             "one behind --");
  }
}

constexpr Rule rules[] = {
    {.id = "unit-syntax",
     .severity = Severity::error,
     .summary = "a setting of a systemd unit that systemd passes over or refuses",
     .explanation =
         "systemd has rules of its own for quotes, escapes, %x and $NAME. What it cannot read it "
         "mostly passes over with a line in the journal, and starts the service without. An "
         "EnvironmentFile= is no shell script either.",
     .example = exampleOfUnit("Environment=GREETING = hello"),
     .remedy = exampleOfUnit("Environment=\"GREETING=hello world\""),
     .check = syntax},
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
     .explanation = "Without a folder, systemd looks for a program in the usual folders, along no "
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
    {.id = "unit-stop",
     .severity = Severity::warning,
     .summary = "a unit that does not stop a JVM in good order",
     .explanation =
         "systemd sends KillSignal= and, after TimeoutStopSec=, SIGKILL. At SIGTERM a JVM runs its "
         "shutdown hooks and ends with status 143, unless application.stop.signals has the "
         "application's stop method called. At SIGHUP it ends as well.",
     .example = exampleOfUnit("SuccessExitStatus="),
     .remedy = exampleOfUnit("SuccessExitStatus=143"),
     .check = stop},
    {.id = "unit-check",
     .severity = Severity::warning,
     .summary = "an ExecStartPre= with kvf check that stands in the way, or checks something else",
     .explanation =
         "By itself kvf check ends with status 1 for a warning, too, and the service does not "
         "start: such as that for a class-data archive that no longer fits after an update.",
     .example = exampleOfUnit("ExecStartPre=%Y/bin/kvf check %Y/acme.kvf"),
     .remedy = exampleOfUnit("ExecStartPre=%Y/bin/kvf check --severity=error %Y/acme.kvf"),
     .check = checkInUnit},
};

}  // namespace

std::span<const Rule> unitRules() {
  return rules;
}
