#include <algorithm>
#include <cctype>

#include <strings.h>

#include "config/CommandLine.h"
#include "config/Commands.h"
#include "config/Configuration.h"
#include "foundation/PropertyKeys.h"
#include "hosting/StopSignals.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

Position argumentAt(std::size_t index) {
  return {Position::commandLine, index};
}

bool beginsWithDashes(std::string_view text) {
  return text.starts_with("--");
}

/// Calls visit(argument, index) for those that are not values of a switch.
template <class Visit>
void forEachArgument(const Inspection& inspection, Visit&& visit) {
  const auto& arguments = inspection.outer.arguments;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (!arguments[i].isValue) visit(arguments[i], i);
  }
}

/// The switch that was probably meant, but none that only a properties file has.
std::string_view switchLike(const Argument& argument) {
  const std::string_view nearest = nearestName(argument.text, switchNames());
  return nearest == argument.text ? std::string_view() : nearest;
}

/// The switch of an argument "--SWITCH=VALUE", in any case of letters; empty for any other
/// argument.
std::string_view switchBeforeEquals(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) return {};
  const auto names = switchNames();
  const auto found = std::find_if(names.begin(), names.end(), [&](std::string_view name) {
    return (takesValue(name) || name == switches::kill) && name.size() == equals &&
           ::strncasecmp(name.data(), text.data(), equals) == 0;
  });
  return found == names.end() ? std::string_view() : *found;
}

void unknownSwitch(const Inspection& inspection, Report& report) {
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (!argument.isUnknownSwitch()) return;
    if (const std::string_view name = switchBeforeEquals(argument.text); !name.empty()) {
      const std::string word = shellWord(std::string_view(argument.text).substr(name.size() + 1));
      report.fatal(
          argumentAt(index),
          concat({shown(argument.text), " is not a switch, since a value is an argument of its ",
                  "own; the launcher shows its usage, with status 0, and starts nothing: ",
                  "write ", name, " ", printable(word)}));
      return;
    }
    const std::string_view nearest = switchLike(argument);
    if (nearest.empty()) return;
    report.fatal(argumentAt(index),
                 concat({shown(argument.text), " is not a switch", didYouMean(nearest),
                         "; the launcher shows its usage, with status 0, and starts nothing"}));
  });
}

void dashedArgument(const Inspection& inspection, Report& report) {
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (!argument.isUnknownSwitch() || !switchLike(argument).empty()) return;
    if (!switchBeforeEquals(argument.text).empty()) return;
    report.fatal(
        argumentAt(index),
        concat({shown(argument.text), " begins with two dashes, so that the launcher takes it ",
                "for a switch of its own, shows its usage, with status 0, and starts nothing: ",
                "move it to application.args in the file"}));
  });
}

void switchValue(const Inspection& inspection, Report& report) {
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (argument.switchName == nullptr || !takesValue(argument.switchName)) return;
    const std::string_view name = argument.switchName;
    if (!argument.hasValue) {
      report(
          argumentAt(index),
          concat({name, " is the last argument and has no value; when the launcher starts itself ",
                  "again, it takes the switch that is appended: give one"}));
      return;
    }
    const std::string& value = inspection.outer.arguments[index + 1].text;
    if (argument.valueConsumed && beginsWithDashes(value)) {
      report(argumentAt(index), concat({name, " takes ", shown(value),
                                        " as its value: put the value between the two"}));
    }
  });
}

void definitionWithoutEquals(const Inspection& inspection, Report& report) {
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (argument.switchName == nullptr || !argument.hasValue) return;
    if (std::string_view(argument.switchName) != switches::propVar) return;
    const std::string& value = inspection.outer.arguments[index + 1].text;
    if (value.find('=') != std::string::npos || beginsWithDashes(value)) return;
    report(
        argumentAt(index + 1),
        concat({shown(value), " has no \"=\": the whole text becomes both name and value; write ",
                "NAME=VALUE"}));
  });
}

void killCommand(const Inspection& inspection, Report& report) {
  if (inspection.command() != switches::kill) return;
  const auto& arguments = inspection.outer.arguments;
  const auto kill = std::find_if(arguments.begin(), arguments.end(), [](const Argument& argument) {
    return argument.switchName != nullptr &&
           std::string_view(argument.switchName) == switches::kill;
  });
  const Position at = kill == arguments.end()
                          ? inspection.positionOf(keys::command)
                          : argumentAt(static_cast<std::size_t>(kill - arguments.begin()));
  if (kill == arguments.end()) {
    report.fatal(
        at,
        "--kill as a setting of the file finds the launcher's own process ID, which it has "
        "just written: give it on the command line");
  }
  if (findKillType(inspection.valueOf(keys::signal).c_str()) == nullptr) {
    report.fatal(at, concat({"--kill needs Abort (SIGKILL) or Normal (SIGINT) as its kind, not ",
                             shown(inspection.valueOf(keys::signal))}));
  }
  if (!inspection.value(keys::processIdFile)) {
    report.fatal(at, "--kill needs processID.file.name in the file, which names the process");
  }
}

void windowsCommand(const Inspection& inspection, Report& report) {
  const Command* command = findCommand(inspection.command());
  if (command == nullptr || !command->isForWindows) return;
  Position at = inspection.positionOf(keys::command);
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (argument.switchName != nullptr && std::string_view(argument.switchName) == command->name) {
      at = argumentAt(index);
    }
  });
  report.fatal(
      at, concat({command->name, " exists on Windows only; here the launcher says so, with ",
                  "status 0, and starts nothing: use --run, and a service manager's own unit"}));
}

/// True when something is done for it.
bool isCommand(std::string_view name) {
  const Command* command = findCommand(name);
  return command != nullptr && command->state != WrapperState::cleanInstall;
}

void unknownCommand(const Inspection& inspection, Report& report) {
  const Entry* entry = inspection.entryOf(keys::command);
  if (entry == nullptr || isCommand(entry->value)) return;
  std::vector<std::string_view> names;
  for (const Command& command : commands) {
    if (isCommand(command.name)) names.emplace_back(command.name);
  }
  const bool lacksDashes = isCommand("--" + entry->value);
  const std::string meant = lacksDashes ? "--" + entry->value : entry->value;
  report.fatal(
      entry->at,
      concat({shown(entry->value), " is not a command", didYouMean(nearestName(meant, names)),
              "; the launcher shows its usage, with status 0, and starts nothing"}));
}

void tooManyArguments(const Inspection& inspection, Report& report) {
  const std::size_t count = inspection.commandLine.size();
  if (!inspection.inner || count <= maxArgumentsToStartAgain) return;
  report.fatal(
      argumentAt(maxArgumentsToStartAgain),
      concat({std::to_string(count), " arguments with the program's name; a launch that exports ",
              "variables takes ", std::to_string(maxArgumentsToStartAgain),
              " and ends otherwise: move them to application.args"}));
}

void startDelay(const Inspection& inspection, Report& report) {
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (argument.switchName == nullptr || !argument.hasValue) return;
    if (std::string_view(argument.switchName) != switches::delayStart) return;
    const std::string& value = inspection.outer.arguments[index + 1].text;
    int milliseconds = 0;
    const char* effect = nullptr;
    const bool isNumber = WString::StringToInteger(value.c_str(), milliseconds);
    if (!isNumber) {
      effect =
          "is not a number: there is no delay, and the text becomes an argument of the application";
    } else if (milliseconds < 0) {
      effect = "is negative: there is no delay";
    } else if (milliseconds % 1000 != 0) {
      effect = "is not a whole number of seconds, and the rest is dropped";
    }
    if (effect == nullptr) return;
    report(argumentAt(index + 1),
           concat({shown(value), " ", effect, "; give milliseconds in thousands, such as 2000"}))
        .harmless = isNumber && milliseconds > 0;
  });
}

void stopSignals(const Inspection& inspection, Report& report) {
  const auto value = inspection.value(keys::stopSignals);
  if (!value) return;
  const ApplicationKind kind =
      inspection.isJava() ? ApplicationKind::java : ApplicationKind::native;
  const StopSignalNames names = StopSignalNames::parse(*value, kind);
  if (names.unusable.empty()) return;
  report.fatalIf(
      inspection.runsInProcess(), inspection.positionOf(keys::stopSignals),
      concat({shown(names.unusable), " cannot be used as a stop signal, and --run ends with ",
              "status 255; possible are ", StopSignalNames::possible(kind)}));
}

constexpr auto manyArguments = repeated<1020>("kvf check -- wrapper --propFile acme.kvf", " x");

constexpr Rule rules[] = {
    {.id = "unknown-switch",
     .severity = Severity::error,
     .summary = "a switch that the launcher does not know",
     .explanation = "Any unknown argument that begins with two dashes makes the launcher show its "
                    "usage and end with status 0, which a service manager takes as success.",
     .example = {.command = "kvf check -- wrapper --propfile acme.kvf"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = unknownSwitch},
    {.id = "dashed-argument",
     .severity = Severity::error,
     .summary = "an application argument that begins with two dashes",
     .explanation = "The launcher treats every argument that begins with two dashes as a switch of "
                    "its own, wherever it is.",
     .example = {.command = "kvf check -- wrapper --propFile acme.kvf --port=80"},
     .remedy = {.lines = "application.args=--port=80",
                .command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = dashedArgument},
    {.id = "switch-value",
     .severity = Severity::error,
     .summary = "a switch without its value",
     .explanation = "A switch takes the next argument as its value, whatever that is. As the last "
                    "argument it has an empty value, or takes the switch that the launcher appends "
                    "when it starts itself again.",
     .example = {.command = "kvf check -- wrapper --propFile acme.kvf --propVar"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf --propVar WHO=world"},
     .check = switchValue},
    {.id = "definition",
     .severity = Severity::error,
     .summary = "--propVar without \"=\"",
     .explanation = "The whole text becomes both the name and the value.",
     .example = {.command = "kvf check -- wrapper --propFile acme.kvf --propVar WHO"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf --propVar WHO=world"},
     .check = definitionWithoutEquals},
    {.id = "kill-command",
     .severity = Severity::error,
     .summary = "--kill without what it needs",
     .explanation = "It needs the kind, Abort or Normal, and processID.file.name in the file.",
     .example = {.lines = "processID.file.name=/run/acme.pid",
                 .command = "kvf check -- wrapper --propFile acme.kvf --kill"},
     .remedy = {.lines = "processID.file.name=/run/acme.pid",
                .command = "kvf check -- wrapper --propFile acme.kvf --kill Normal"},
     .check = killCommand},
    {.id = "windows-command",
     .severity = Severity::error,
     .summary = "a command that exists on Windows only",
     .explanation = "The launcher says so and ends with status 0.",
     .example = {.command = "kvf check -- wrapper --propFile acme.kvf --install"},
     .remedy = {.note = "Let a unit of the service manager run the launcher.",
                .command = "kvf check -- wrapper --propFile acme.kvf --run"},
     .check = windowsCommand},
    {.id = "unknown-command",
     .severity = Severity::error,
     .summary = "an unknown word in wrapper.command",
     .explanation = "The launcher shows its usage and ends with status 0.",
     .example = {.lines = "wrapper.command=run"},
     .remedy = {.lines = "wrapper.command=--run"},
     .check = unknownCommand},
    {.id = "too-many-arguments",
     .severity = Severity::error,
     .summary = "too many arguments for a launch that exports variables",
     .explanation = "Such a launch starts itself once more, which takes at most 1,022 arguments.",
     .example = {.note = "wrapper --propFile acme.kvf with 1,020 more arguments",
                 .lines = "velox.env.MODE=fast",
                 .command = manyArguments.data()},
     .remedy = {.note = "Move them to application.args.",
                .lines = "velox.env.MODE=fast\napplication.args=a b c",
                .command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = tooManyArguments},
    {.id = "start-delay",
     .severity = Severity::error,
     .summary = "a delay that is not as long as it says",
     .explanation = "--delayStart takes milliseconds but waits whole seconds; with a negative "
                    "number, or none, it does not wait.",
     .example = {.command = "kvf check -- wrapper --propFile acme.kvf --delayStart 1500"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf --delayStart 2000"},
     .check = startDelay},
    {.id = "stop-signals",
     .severity = Severity::error,
     .summary = "a stop signal that cannot be used",
     .explanation = "application.stop.signals takes names of signals, separated by commas. Some "
                    "are reserved for the JVM and the system.",
     .example = {.lines = "application.stop.signals=KILL"},
     .remedy = {.lines = "application.stop.signals=TERM,INT"},
     .check = stopSignals},
};

}  // namespace

std::span<const Rule> launchRules() {
  return rules;
}
