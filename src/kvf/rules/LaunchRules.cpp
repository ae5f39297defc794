#include <algorithm>
#include <cctype>

#include <strings.h>

#include "config/CommandLine.h"
#include "config/Commands.h"
#include "config/Configuration.h"
#include "foundation/PropertyKeys.h"
#include "hosting/StopSignals.h"
#include "kvf/rules/Rules.h"
#include "kvf/text/Text.h"

namespace {

Position argumentAt(std::size_t index) {
  return {Position::commandLine, index};
}

bool beginsWithDashes(std::string_view text) {
  return text.starts_with("--");
}

/// Calls visit(argument, index) for those that the scan judges by themselves.
template <class Visit>
void forEachArgument(const Inspection& inspection, Visit&& visit) {
  const auto& arguments = inspection.outer.arguments;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (!arguments[i].isValue) visit(arguments[i], i);
  }
}

/// The switch that was probably meant. One that only a properties file takes is not.
std::string_view switchLike(const Argument& argument) {
  const std::string_view nearest = nearestName(argument.text, switchNames());
  return nearest == argument.text ? std::string_view() : nearest;
}

/// The switch of an argument "--SWITCH=VALUE", in any case of letters; empty when it is no such
/// one.
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

void unknownSwitch(const Inspection& inspection, const Report& report) {
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (!argument.isUnknownSwitch()) return;
    if (const std::string_view name = switchBeforeEquals(argument.text); !name.empty()) {
      const std::string word = shellWord(std::string_view(argument.text).substr(name.size() + 1));
      report.end(
          argumentAt(index),
          concat({shown(argument.text), " is no switch, since a value is an argument of its ",
                  "own; the launcher shows its usage, with status 0, and starts nothing: ",
                  "write ", name, " ", printable(word)}));
      return;
    }
    const std::string_view nearest = switchLike(argument);
    if (nearest.empty()) return;
    report.end(argumentAt(index),
               concat({shown(argument.text), " is no switch", didYouMean(nearest),
                       "; the launcher shows its usage, with status 0, and starts nothing"}));
  });
}

void dashedArgument(const Inspection& inspection, const Report& report) {
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (!argument.isUnknownSwitch() || !switchLike(argument).empty()) return;
    if (!switchBeforeEquals(argument.text).empty()) return;
    report.end(
        argumentAt(index),
        concat({shown(argument.text), " begins with two dashes, so that the launcher takes it ",
                "for a switch of its own, shows its usage, with status 0, and starts nothing: ",
                "move it to application.args in the file"}));
  });
}

void switchValue(const Inspection& inspection, const Report& report) {
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

void definitionWithoutEquals(const Inspection& inspection, const Report& report) {
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

void killCommand(const Inspection& inspection, const Report& report) {
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
    report.end(at,
               "--kill as a setting of the file finds the launcher's own process ID, which it has "
               "just written: give it on the command line");
  }
  if (findKillType(inspection.valueOf(keys::signal).c_str()) == nullptr) {
    report.end(at, concat({"--kill needs Abort (SIGKILL) or Normal (SIGINT) as its kind, not ",
                           shown(inspection.valueOf(keys::signal))}));
  }
  if (!inspection.value(keys::processIdFile)) {
    report.end(at, "--kill needs processID.file.name in the file, which tells it the process");
  }
}

void windowsCommand(const Inspection& inspection, const Report& report) {
  const Command* command = findCommand(inspection.command());
  if (command == nullptr || !command->isForWindows) return;
  Position at = inspection.positionOf(keys::command);
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (argument.switchName != nullptr && std::string_view(argument.switchName) == command->name) {
      at = argumentAt(index);
    }
  });
  report.end(at,
             concat({command->name, " exists on Windows only; here the launcher says so, with ",
                     "status 0, and starts nothing: use --run, and a service manager's own unit"}));
}

/// True when something is done for it.
bool isCommand(std::string_view name) {
  const Command* command = findCommand(name);
  return command != nullptr && command->state != WrapperState::cleanInstall;
}

void unknownCommand(const Inspection& inspection, const Report& report) {
  const Definition* definition = inspection.definitionOf(keys::command);
  if (definition == nullptr || isCommand(definition->value)) return;
  std::vector<std::string_view> names;
  for (const Command& command : commands) {
    if (isCommand(command.name)) names.emplace_back(command.name);
  }
  const bool lacksDashes = isCommand("--" + definition->value);
  const std::string meant = lacksDashes ? "--" + definition->value : definition->value;
  report.end(
      definition->at,
      concat({shown(definition->value), " is no command", didYouMean(nearestName(meant, names)),
              "; the launcher shows its usage, with status 0, and starts nothing"}));
}

void tooManyArguments(const Inspection& inspection, const Report& report) {
  const std::size_t count = inspection.commandLine.size();
  if (!inspection.inner || count <= maxArgumentsToStartAgain) return;
  report.end(
      argumentAt(maxArgumentsToStartAgain),
      concat({std::to_string(count), " arguments with the program's name; a launch that exports ",
              "variables takes ", std::to_string(maxArgumentsToStartAgain),
              " and ends otherwise: move them to application.args"}));
}

void startDelay(const Inspection& inspection, const Report& report) {
  forEachArgument(inspection, [&](const Argument& argument, std::size_t index) {
    if (argument.switchName == nullptr || !argument.hasValue) return;
    if (std::string_view(argument.switchName) != switches::delayStart) return;
    const std::string& value = inspection.outer.arguments[index + 1].text;
    int milliseconds = 0;
    const char* effect = nullptr;
    if (!WString::StringToInteger(value.c_str(), milliseconds)) {
      effect =
          "is no number: there is no delay, and the text becomes an argument of the application";
    } else if (milliseconds < 0) {
      effect = "is negative: there is no delay";
    } else if (milliseconds % 1000 != 0) {
      effect = "is no whole number of seconds, and the rest is dropped";
    }
    if (effect == nullptr) return;
    report(argumentAt(index + 1),
           concat({shown(value), " ", effect, "; give milliseconds in thousands, such as 2000"}));
  });
}

void stopSignals(const Inspection& inspection, const Report& report) {
  const auto value = inspection.value(keys::stopSignals);
  if (!value) return;
  const ApplicationKind kind =
      inspection.isJava() ? ApplicationKind::java : ApplicationKind::native;
  const StopSignalNames names = StopSignalNames::parse(*value, kind);
  if (names.refused.empty()) return;
  report.endIf(
      inspection.runsInProcess(), inspection.positionOf(keys::stopSignals),
      concat({shown(names.refused), " cannot be used as a stop signal, and --run ends with ",
              "status 255; possible are ", StopSignalNames::possible(kind)}));
}

constexpr Rule rules[] = {
    {"unknown-switch", Severity::error, "a switch that the launcher does not know",
     "Any unknown argument with two dashes in front makes the launcher show its usage and end with "
     "status 0: a service manager takes that for success.",
     "wrapper --propfile app.kvf", "wrapper --propFile app.kvf", unknownSwitch},
    {"dashed-argument", Severity::error, "an application argument that begins with two dashes",
     "The launcher takes every argument with two dashes in front for a switch of its own, wherever "
     "it stands.",
     "wrapper --propFile app.kvf --port=80", "application.args=--port=80 in the file",
     dashedArgument},
    {"switch-value", Severity::error, "a switch without its value",
     "A switch takes whatever follows as its value. As the last argument it has an empty one, or "
     "takes the switch that the launcher appends when it starts itself again.",
     "wrapper --propFile", "wrapper --propFile app.kvf", switchValue},
    {"definition", Severity::error, "--propVar without \"=\"",
     "The whole text becomes both the name and the value.", "wrapper --propVar WHO",
     "wrapper --propVar WHO=world", definitionWithoutEquals},
    {"kill-command", Severity::error, "--kill without what it needs",
     "It needs the kind, Abort or Normal, and processID.file.name in the file.",
     "wrapper --propFile app.kvf --kill", "wrapper --propFile app.kvf --kill Normal", killCommand},
    {"windows-command", Severity::error, "a command that exists on Windows only",
     "The launcher says so and ends with status 0.", "wrapper --install",
     "A unit of the service manager that runs wrapper --run.", windowsCommand},
    {"unknown-command", Severity::error, "wrapper.command with an unknown word",
     "The launcher shows its usage and ends with status 0.", "wrapper.command=run",
     "wrapper.command=--run", unknownCommand},
    {"too-many-arguments", Severity::error,
     "too many arguments for a launch that exports variables",
     "Such a launch starts itself once more, which takes at most 1,022 arguments.",
     "wrapper with 1,023 arguments and velox.env.A=1 in the file", "Move them to application.args.",
     tooManyArguments},
    {"start-delay", Severity::warning, "a delay that is not what it says",
     "--delayStart takes milliseconds but waits whole seconds; what is negative or no number does "
     "not wait.",
     "wrapper --delayStart 1500", "wrapper --delayStart 2000", startDelay},
    {"stop-signals", Severity::error, "a stop signal that cannot be used",
     "application.stop.signals takes names of signals between commas. A JVM and the system keep "
     "some for themselves.",
     "application.stop.signals=KILL", "application.stop.signals=TERM,INT", stopSignals},
};

}  // namespace

std::span<const Rule> launchRules() {
  return rules;
}
