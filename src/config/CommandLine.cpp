#include "config/CommandLine.h"

#include <cstring>
#include <string>

#include <unistd.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"

namespace {

/// What happens to the argument after a switch that reads it as its value.
enum class Value {
  none,              ///< the switch has no value
  consumed,          ///< the value is taken off the command line
  consumedIfNumber,  ///< the same for a number, else the value is an argument of its own
  scannedAgain       ///< the value is also an argument of its own
};

/// Which scans know a switch.
enum class KnownTo { both, launch, optionsOnly };

using Effect = void (*)(CommandLine& line, const WString& value);

struct Switch {
  const char* name;
  KnownTo knownTo;
  bool isCommand;         ///< becomes the value of wrapper.command
  Value value;            ///< what happens to the next argument
  const char* valueKey;   ///< property that receives the next argument, or null
  const char* flagKey;    ///< property that is set to flagValue, or null
  const char* flagValue;  ///< "true" for most
  Effect effect;          ///< what else happens, or null
};

bool isNumber(const WString& value) {
  int number = 0;
  return WString::StringToInteger(value, number);
}

void addVariable(CommandLine& line, const WString& value) {
  AddVariableProperties(value, line.variables);
}

void delayStart(CommandLine& /*line*/, const WString& value) {
  int milliseconds = 0;
  if (!WString::StringToInteger(value, milliseconds) || milliseconds < 0) return;
  unsigned int seconds = static_cast<unsigned int>(milliseconds) / 1000;
  while (seconds > 0) seconds = ::sleep(seconds);
}

void enableDebug(CommandLine& /*line*/, const WString& /*value*/) {
  Logging::EnableDebug();
}

void enableSilent(CommandLine& /*line*/, const WString& /*value*/) {
  Logging::EnableSilent();
}

void markInnerProcess(CommandLine& line, const WString& /*value*/) {
  line.innerProcess = true;
}

void markAdjustmentChild(CommandLine& line, const WString& /*value*/) {
  line.adjustmentChild = true;
  // The parent's log file is this run's too.
  Logging::SetChildProcessFlag();
}

constexpr Switch command(const char* name, KnownTo knownTo = KnownTo::both) {
  return {name, knownTo, true, Value::none, nullptr, nullptr, nullptr, nullptr};
}

constexpr Switch commandWithValue(const char* name, const char* valueKey,
                                  KnownTo knownTo = KnownTo::both) {
  return {name, knownTo, true, Value::scannedAgain, valueKey, nullptr, nullptr, nullptr};
}

constexpr Switch option(const char* name, Value value, const char* valueKey, Effect effect) {
  return {name, KnownTo::both, false, value, valueKey, nullptr, nullptr, effect};
}

constexpr Switch flag(const char* name, const char* flagKey, const char* flagValue, Effect effect,
                      KnownTo knownTo = KnownTo::both) {
  return {name, knownTo, false, Value::none, nullptr, flagKey, flagValue, effect};
}

constexpr Switch knownSwitches[] = {
    option(switches::propFile, Value::consumed, keys::propertiesFile, nullptr),
    commandWithValue(switches::generateScript, keys::scriptArgument),
    option(switches::propVar, Value::consumed, nullptr, addVariable),
    command(switches::install),
    command(switches::cleanInstall, KnownTo::optionsOnly),
    command(switches::uninstall),
    command(switches::update),
    command(switches::start),
    command(switches::startSync),
    command(switches::restart),
    command(switches::stop),
    command(switches::run),
    command(switches::cmdlineJava),
    commandWithValue(switches::kill, keys::signal, KnownTo::launch),
    command(switches::kill, KnownTo::optionsOnly),
    command(switches::query),
    commandWithValue(switches::ntservice, keys::serviceName),
    flag(switches::pid, keys::displayPid, switches::pid, nullptr),
    option(switches::delayStart, Value::consumedIfNumber, nullptr, delayStart),
    command(switches::version),
    command(switches::help),
    flag(switches::debug, keys::debugFlag, "true", enableDebug),
    flag(switches::silent, keys::silentFlag, "true", enableSilent),
    flag(switches::innerProcess, keys::innerProcess, "true", markInnerProcess),
    flag(switches::adjust, keys::adjust, "true", markAdjustmentChild, KnownTo::launch),
};

const Switch* findSwitch(const char* argument, KnownTo scan) {
  for (const Switch& known : knownSwitches) {
    const bool takesPart = known.knownTo == KnownTo::both || known.knownTo == scan;
    if (takesPart && CompareParamter(argument, known.name)) return &known;
  }
  return nullptr;
}

/// Carries out one switch; true when it takes the next argument off the command line.
bool apply(const Switch& known, const char* next, CommandLine& line) {
  const WString value = known.value == Value::none ? WString() : WString(next);
  if (known.valueKey != nullptr) line.options.set(known.valueKey, value);
  if (known.isCommand) line.options.set(keys::command, known.name);
  if (known.flagKey != nullptr) line.options.set(known.flagKey, known.flagValue);
  if (known.effect != nullptr) known.effect(line, value);
  return known.value == Value::consumed ||
         (known.value == Value::consumedIfNumber && isNumber(value));
}

CommandLine scan(int argc, char** argv, KnownTo face) {
  CommandLine line;
  int positional = 0;
  bool unknownSwitch = false;
  for (int i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    if (const Switch* known = findSwitch(argument, face)) {
      if (apply(*known, i + 1 < argc ? argv[i + 1] : nullptr, line)) ++i;
    } else if (std::strncmp(argument, "--", 2) == 0) {
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

CommandLine scanCommandLine(int argc, char** argv) {
  return scan(argc, argv, KnownTo::launch);
}

SimpleProperties ParseCommandLineOnly(int argc, char** argv) {
  return scan(argc, argv, KnownTo::optionsOnly).options;
}

bool CompareParamter(const char* argument, const char* switchName) {
  return std::strcmp(argument, switchName) == 0;
}

void AddVariableProperties(const WString& text, SimpleProperties& variables) {
  const unsigned int equals = text.find('=');
  // Not found is the largest position, and the one after it wraps to the first: the value then is
  // the whole text, like the name.
  variables.set(keys::variablePrefix + text.substr(0, equals), text.substr(equals + 1));
}
