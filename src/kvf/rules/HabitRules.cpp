#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// What other launchers and scripts take, and this one does not.

namespace {

bool isPositional(const Argument& argument) {
  return argument.switchName == nullptr && !argument.isValue && !argument.text.starts_with('-');
}

void startScript(const Inspection& inspection, Report& report) {
  if (inspection.scriptRefusal.empty()) return;
  report.fatal({Position::commandLine, 0}, concat({"the start script ", inspection.scriptRefusal,
                                                   ", and ends with status 64: give it in another "
                                                   "way, such as in a file of the application"}));
}

constexpr std::string_view serviceVerbs[] = {"start",  "stop",    "restart", "status",
                                             "reload", "console", "run"};

void serviceVerb(const Inspection& inspection, Report& report) {
  const auto& arguments = inspection.outer.arguments;
  if (arguments.size() < 2 || !isPositional(arguments[1])) return;
  const std::string& text = arguments[1].text;
  const bool isVerb =
      std::find(std::begin(serviceVerbs), std::end(serviceVerbs), text) != std::end(serviceVerbs);
  const bool hasSwitches =
      std::any_of(arguments.begin() + 2, arguments.end(),
                  [](const Argument& argument) { return argument.switchName != nullptr; });
  if (!isVerb || !hasSwitches) return;
  report({Position::commandLine, 1},
         concat({shown(text), " in front of the switches is not a command but an argument of the ",
                 "application: remove it; --run starts, a service manager's unit does the rest; ",
                 "if the application takes it, write it last"}));
}

void strayFile(const Inspection& inspection, Report& report) {
  const auto& arguments = inspection.outer.arguments;
  const bool isNamed = std::any_of(arguments.begin(), arguments.end(), [](const auto& argument) {
    return argument.switchName != nullptr &&
           std::string_view(argument.switchName) == switches::propFile;
  });
  if (isNamed || inspection.hasMainFile()) return;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    std::error_code error;
    const std::string& text = arguments[i].text;
    // After a misspelt switch it is what that one names.
    if (!isPositional(arguments[i]) || !text.ends_with(".kvf") ||
        arguments[i - 1].isUnknownSwitch())
      continue;
    if (!std::filesystem::exists(inspection.atLauncher(text), error)) continue;
    report.fatal({Position::commandLine, i},
                 concat({shown(text), " is an argument of the application, and the launcher looks ",
                         "for another properties file: write ", switches::propFile, " ",
                         printable(shellWord(text))}));
  }
}

constexpr std::string_view scriptVariables[] = {"JDK_JAVA_OPTIONS", "JAVA_OPTS", "JVM_OPTS"};

bool isReferred(const Inspection& inspection, std::string_view name) {
  const auto& entries = inspection.run().entries;
  return std::any_of(entries.begin(), entries.end(), [&](const Entry& entry) {
    return std::any_of(entry.references.begin(), entry.references.end(),
                       [&](const Reference& reference) { return reference.name == name; });
  });
}

void scriptVariable(const Inspection& inspection, Report& report) {
  if (!inspection.startsJvm()) return;
  for (const std::string_view name : scriptVariables) {
    const bool isOfJava = name == scriptVariables[0];
    if (isReferred(inspection, name) || (isOfJava && !inspection.runsInProcess())) continue;
    const std::string text =
        concat({shown(name),
                isOfJava ? " is read by the program java alone, not by a JVM in "
                           "the launcher's process"
                         : " is read by start scripts of others, by no JVM",
                ": write the options into ", keys::extendedProperties, ", or ",
                keys::extendedProperties, "=%", name, "%"});
    if (const Entry* entry = inspection.entryOf(concat({keys::environmentPrefix, name})))
      report(entry->at, text);
    if (!inspection.unit) continue;
    for (const UnitSetting* setting : inspection.unit->all("Environment")) {
      const std::size_t at = setting->value.find(concat({name, "="}));
      if (at != std::string::npos)
        report(Inspection::unitPosition(ServiceUnit::placeOf(*setting, at)), text);
    }
  }
}

constexpr Rule rules[] = {
    {.id = "start-script",
     .severity = Severity::error,
     .summary = "an argument that a start script cannot hand over",
     .explanation = "Where one argument holds a double quote and another begins with two dashes, "
                    "the start script of kvf new hands them on as entries of a properties file, in "
                    "which no value can hold both a percent sign and @@#@@.",
     .example = {.command = "kvf check -- bin/acme 'a \"b\" %@@#@@' --port=80",
                 .files = {{.path = "bin/acme", .kind = ExampleFile::Kind::startScript}}},
     .remedy = {.command = "kvf check -- bin/acme 'a \"b\" %' --port=80",
                .files = {{.path = "bin/acme", .kind = ExampleFile::Kind::startScript}}},
     .check = startScript},
    {.id = "service-verb",
     .severity = Severity::warning,
     .summary = "start, stop and their like in front of the switches",
     .explanation = "The launcher has no such commands: the word reaches the application as its "
                    "first argument.",
     .example = {.command = "kvf check -- wrapper start --propFile acme.kvf"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = serviceVerb},
    {.id = "stray-file",
     .severity = Severity::error,
     .summary = "a properties file without --propFile",
     .explanation = "Without --propFile the launcher looks for a file of its own name; the name on "
                    "the command line is an argument of the application.",
     .example = {.command = "kvf check --disable missing-file -- wrapper acme.kvf"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = strayFile},
    {.id = "script-variable",
     .severity = Severity::warning,
     .summary = "options of the JVM in a variable that no JVM reads",
     .explanation = "A JVM in the launcher's process reads JAVA_TOOL_OPTIONS. JDK_JAVA_OPTIONS is "
                    "the program java's, and JAVA_OPTS that of start scripts. A reference in a "
                    "value makes use of either.",
     .example = {.lines = "velox.env.JAVA_OPTS=-Xint"},
     .remedy = {.lines = "java.extended.properties=-Xint"},
     .check = scriptVariable},
};

}  // namespace

std::span<const Rule> habitRules() {
  return rules;
}
