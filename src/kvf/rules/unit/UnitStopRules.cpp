#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>

#include "foundation/PropertyKeys.h"
#include "hosting/StopSignals.h"
#include "kvf/rules/unit/UnitSubject.h"
#include "kvf/text/Text.h"

// How systemd stops and reloads a service whose main process is a JVM.

namespace {

namespace fs = std::filesystem;

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
     "leaves the stop method little time before the JVM is killed: allow what it needs; without "
     "the line it is 90 s"},
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

void reportKilling(const UnitSubject& subject, Report& report) {
  for (const ServiceCommand& command : subject.unit.commands()) {
    if (command.key != "ExecStop" || signalSent(command) != SIGKILL) continue;
    report(Inspection::unitPosition(command.places.front()),
           "SIGKILL ends a JVM without its shutdown hooks and without a stop method: remove "
           "ExecStop=, and systemd sends SIGTERM first");
  }
}

void reportMissingSuccess(const UnitSubject& subject, Report& report) {
  const int signal = stopSignal(subject);
  const bool endsByItself = isOneOf(signal, {SIGTERM, SIGINT, SIGHUP});
  constexpr int bySignal = 128;
  const int status = bySignal + signal;
  if (!endsByItself || callsStopMethod(subject, signal) || leavesSignals(subject.launch)) return;
  if (subject.type() == "oneshot" || hasSuccessStatus(subject.unit, status)) return;
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
  reportKilling(*subject, report);
  reportMissingSuccess(*subject, report);
  reportOtherStopSignal(*subject, report);
}

constexpr Rule rules[] = {
    {.id = "unit-stop",
     .severity = Severity::warning,
     .summary = "a unit that does not stop a JVM properly",
     .explanation =
         "systemd sends KillSignal= and, after TimeoutStopSec=, SIGKILL. At SIGTERM a JVM runs its "
         "shutdown hooks and ends with status 143, unless application.stop.signals makes it call "
         "the application's stop method. SIGHUP ends it, too.",
     .example = exampleOfUnit("SuccessExitStatus="),
     .remedy = exampleOfUnit("SuccessExitStatus=143"),
     .check = stop},
};

}  // namespace

std::span<const Rule> unitStopRules() {
  return rules;
}
