#include "config/CommandLine.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "config/Commands.h"
#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "logging/Logging.h"
#include "platform/ThisProcess.h"

namespace {

/// The two scans of a command line.
enum class Scan { launch, optionsOnly };

/// Which scans know a switch.
enum class KnownTo { bothScans, launchScan };

/// What happens to the argument after a switch that reads it as its value.
enum class Value {
  none,              ///< the switch has no value
  consumed,          ///< the value is taken off the command line
  consumedIfNumber,  ///< the same for a number, else the value is an argument of its own
};

using Effect = void (*)(CommandLine& line, const WString& value);

/// A switch that is no command.
struct Switch {
  const char* name;
  KnownTo knownTo = KnownTo::bothScans;
  Value value = Value::none;
  const char* valueKey = nullptr;  ///< property that receives the value
  const char* flagKey = nullptr;   ///< property that is set to flagValue
  const char* flagValue = "true";
  Effect effect = nullptr;  ///< what else happens
};

bool isNumber(const WString& value) {
  int number = 0;
  return WString::StringToInteger(value, number);
}

void addVariable(CommandLine& line, const WString& value) {
  AddVariableProperties(value, line.variables);
}

void delayStart(CommandLine& line, const WString& value) {
  int milliseconds = 0;
  if (!WString::StringToInteger(value, milliseconds) || milliseconds < 0) return;
  line.delaySeconds += static_cast<unsigned int>(milliseconds) / 1000;
}

void enableDebug(CommandLine& line, const WString& /*value*/) {
  line.debug = true;
}

void enableSilent(CommandLine& line, const WString& /*value*/) {
  line.silent = true;
}

void markInnerProcess(CommandLine& line, const WString& /*value*/) {
  line.innerProcess = true;
}

void markAdjustmentChild(CommandLine& line, const WString& /*value*/) {
  line.adjustmentChild = true;
}

constexpr Switch knownSwitches[] = {
    {.name = switches::propFile, .value = Value::consumed, .valueKey = keys::propertiesFile},
    {.name = switches::propVar, .value = Value::consumed, .effect = addVariable},
    {.name = switches::pid, .flagKey = keys::displayPid, .flagValue = switches::pid},
    {.name = switches::delayStart, .value = Value::consumedIfNumber, .effect = delayStart},
    {.name = switches::debug, .flagKey = keys::debugFlag, .effect = enableDebug},
    {.name = switches::silent, .flagKey = keys::silentFlag, .effect = enableSilent},
    {.name = switches::innerProcess, .flagKey = keys::innerProcess, .effect = markInnerProcess},
    {.name = switches::adjust,
     .knownTo = KnownTo::launchScan,
     .flagKey = keys::adjust,
     .effect = markAdjustmentChild},
};

const Switch* findSwitch(const char* argument, Scan scan) {
  for (const Switch& known : knownSwitches) {
    const bool takesPart = known.knownTo == KnownTo::bothScans || scan == Scan::launch;
    if (takesPart && CompareParamter(argument, known.name)) return &known;
  }
  return nullptr;
}

const Command* findCommandSwitch(const char* argument, Scan scan) {
  // A launch takes the clean install only from a properties file.
  if (scan == Scan::launch && CompareParamter(argument, switches::cleanInstall)) return nullptr;
  return findCommand(argument);
}

/// The command's value stays on the command line, so it is an argument of its own as well.
void choose(const Command& command, const char* next, Scan scan, SimpleProperties& options) {
  const bool isRecorded = scan == Scan::launch || command.state != WrapperState::kill;
  if (command.valueKey != nullptr && isRecorded) options.set(command.valueKey, next);
  options.set(keys::command, command.name);
}

/// Carries out one switch; true when it takes the next argument off the command line.
bool apply(const Switch& known, const char* next, CommandLine& line) {
  const WString value = known.value == Value::none ? WString() : WString(next);
  if (known.valueKey != nullptr) line.options.set(known.valueKey, value);
  if (known.flagKey != nullptr) line.options.set(known.flagKey, known.flagValue);
  if (known.effect != nullptr) known.effect(line, value);
  return known.value == Value::consumed ||
         (known.value == Value::consumedIfNumber && isNumber(value));
}

CommandLine scanArguments(int argc, char** argv, Scan scan, AssemblyObserver& observer) {
  CommandLine line;
  int positional = 0;
  bool unknownSwitch = false;
  for (int i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    const char* next = i + 1 < argc ? argv[i + 1] : nullptr;
    if (const Switch* known = findSwitch(argument, scan)) {
      const bool consumed = apply(*known, next, line);
      observer.argumentScanned({i, known->name, next, consumed});
      if (consumed) ++i;
      continue;
    }
    if (const Command* command = findCommandSwitch(argument, scan)) {
      observer.argumentScanned({i, command->name, next, false});
      choose(*command, next, scan, line.options);
      continue;
    }
    observer.argumentScanned({i, nullptr, nullptr, false});
    if (std::strncmp(argument, "--", 2) == 0) {
      unknownSwitch = true;
    } else {
      line.options.set(keys::commandLineArgumentPrefix + WString(std::to_string(positional)),
                       argument);
      ++positional;
    }
  }
  if (unknownSwitch) line.options.set(keys::command, switches::help);
  return line;
}

}  // namespace

CommandLine scanCommandLine(int argc, char** argv, AssemblyObserver& observer) {
  return scanArguments(argc, argv, Scan::launch, observer);
}

void applyCommandLine(const CommandLine& line) {
  // The parent's log file is this run's too.
  if (line.adjustmentChild) Logging::SetChildProcessFlag();
  if (line.debug) Logging::EnableDebug();
  if (line.silent) Logging::EnableSilent();
  sleepSeconds(line.delaySeconds);
}

std::vector<std::string_view> switchNames() {
  std::vector<std::string_view> names;
  for (const Switch& known : knownSwitches) names.emplace_back(known.name);
  for (const Command& command : commands) names.emplace_back(command.name);
  return names;
}

bool takesValue(std::string_view switchName) {
  return std::any_of(std::begin(knownSwitches), std::end(knownSwitches), [&](const Switch& known) {
    return known.name == switchName && known.value != Value::none;
  });
}

SimpleProperties ParseCommandLineOnly(int argc, char** argv) {
  const CommandLine line = scanArguments(argc, argv, Scan::optionsOnly, noObserver);
  applyCommandLine(line);
  return line.options;
}

bool CompareParamter(const char* argument, const char* switchName) {
  return std::strcmp(argument, switchName) == 0;
}

void AddVariableProperties(const WString& text, SimpleProperties& variables) {
  const auto [name, value] = splitAt(text.view(), '=');
  variables.set(keys::variablePrefix + WString(name), WString(value));
}
