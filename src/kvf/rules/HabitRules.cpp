#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "javarun/ArgumentSplitter.h"
#include "kvf/formats/Archive.h"
#include "kvf/jvm/OptionVariables.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

// What other launchers and scripts accept, and this one does not.

namespace {

namespace fs = std::filesystem;

constexpr std::string_view classSuffix = ".class";

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

bool isServiceVerb(const std::string& text) {
  return std::find(std::begin(serviceVerbs), std::end(serviceVerbs), text) !=
         std::end(serviceVerbs);
}

/// True when a class that came with the start class may look for the word: it has it as a text, or
/// there are too many to look at.
bool mayTake(const Inspection& inspection, const std::string& word) {
  if (!inspection.classPath || !inspection.classPath->startClass()) return true;
  // As a text among its constants: a tag and two bytes with the length come first.
  const std::string constant = std::string("\1\0", 2) + static_cast<char>(word.size()) + word;
  const auto has = [&](std::string_view bytes) {
    return bytes.find(constant) != std::string_view::npos;
  };
  const FoundClass& start = *inspection.classPath->startClass();
  if (has(start.bytes)) return true;
  constexpr std::size_t most = 2000;
  std::error_code error;
  if (!fs::is_directory(start.where, error)) {
    const Archive archive(start.where);
    if (archive.size() > most) return true;
    for (std::size_t i = 0; i < archive.size(); ++i) {
      const std::string name(archive.nameAt(i));
      if (name.ends_with(classSuffix) && has(archive.read(name).value_or(constant))) return true;
    }
    return false;
  }
  fs::recursive_directory_iterator entries(start.where,
                                           fs::directory_options::skip_permission_denied, error);
  for (std::size_t count = 0; !error && entries != fs::recursive_directory_iterator();
       entries.increment(error)) {
    if (++count > most) return true;
    const fs::path& file = entries->path();
    if (file.native().ends_with(classSuffix) && has(textOfFile(file))) return true;
  }
  return false;
}

void serviceVerb(const Inspection& inspection, Report& report) {
  const auto& arguments = inspection.outer.arguments;
  if (arguments.size() < 2) return;
  const std::size_t last = arguments.size() - 1;
  const bool isFirst = isPositional(arguments[1]) && isServiceVerb(arguments[1].text);
  const bool hasSwitches =
      std::any_of(arguments.begin() + 2, arguments.end(),
                  [](const Argument& argument) { return argument.switchName != nullptr; });
  if (isFirst && hasSwitches) {
    report({Position::commandLine, 1},
           concat({shown(arguments[1].text), " in front of the switches is not a command but an ",
                   "argument of the application: remove it; --run starts, a service manager's ",
                   "unit does the rest; if the application takes it, write it last"}));
    return;
  }
  const auto count = std::count_if(arguments.begin() + 1, arguments.end(), isPositional);
  const std::string& text = arguments[last].text;
  if (count != 1 || !isPositional(arguments[last]) || !isServiceVerb(text)) return;
  if (mayTake(inspection, text)) return;
  report(
      {Position::commandLine, last},
      concat({shown(text), " is not a command but an argument of the application, whose ",
              "classes have no such word: remove it; --run starts, a service manager's unit does ",
              "the rest"}));
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
    // After a misspelt switch it is the value of that switch.
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

/// True for an option of a JVM that is not a usual one of applications.
bool isJvmOption(std::string_view text) {
  constexpr std::string_view starts[] = {
      "-Xmx",        "-Xms",       "-Xss",        "-Xmn",   "-XX:+",    "-XX:-",
      "-javaagent:", "-agentlib:", "-agentpath:", "-Xlog:", "-Xloggc:", "--add-opens="};
  return std::any_of(std::begin(starts), std::end(starts),
                     [&](std::string_view start) { return text.starts_with(start); });
}

/// "-Dname=value".
bool isPropertyOption(std::string_view text) {
  return text.size() > 2 && text.starts_with("-D") && text[2] != '=' &&
         text.find('=') != std::string_view::npos;
}

/// True for an option of the application by whose name it takes those of a JVM: -jvmArgs.
bool takesJvmOptions(std::string_view text) {
  if (!text.starts_with('-') || isJvmOption(text) || isPropertyOption(text)) return false;
  std::string name(text);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  constexpr std::string_view parts[] = {"jvm", "java", "vmarg", "opt"};
  return std::any_of(std::begin(parts), std::end(parts),
                     [&](std::string_view part) { return name.find(part) != std::string::npos; });
}

void optionArgument(const Inspection& inspection, Report& report) {
  if (!inspection.startsJvm()) return;
  const auto tell = [&](const Position& at, std::string_view text) {
    const std::string_view definition = text.substr(std::min<std::size_t>(2, text.size()));
    report(
        at,
        concat({shown(text), " is an argument of the application here, not an option of the ",
                "JVM: write ",
                isPropertyOption(text) ? concat({keys::javaPropertyPrefix, printable(definition)})
                                       : concat({keys::extendedProperties, "=", printable(text)}),
                " into the file"}));
  };
  const auto& arguments = inspection.outer.arguments;
  // It may take several.
  bool isTaken = false;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const Argument& argument = arguments[i];
    if (argument.isValue || argument.switchName != nullptr) continue;
    if (isPropertyOption(argument.text) ||
        (isJvmOption(argument.text) && !argument.isUnknownSwitch())) {
      if (!isTaken) tell({Position::commandLine, i}, argument.text);
    } else {
      isTaken = takesJvmOptions(argument.text);
    }
  }
  isTaken = false;
  if (inspection.entryOf(keys::applicationArgs) == nullptr) return;
  for (const WString& word :
       splitArguments(WString(inspection.valueOf(keys::applicationArgs)), LaunchWay::hostedJava)) {
    if (!isJvmOption(word.view())) {
      isTaken = isPropertyOption(word.view()) ? isTaken : takesJvmOptions(word.view());
    } else if (!isTaken) {
      tell(inspection.positionOf(keys::applicationArgs), word.view());
    }
  }
}

void userDirectory(const Inspection& inspection, Report& report) {
  if (!inspection.startsJvm()) return;
  OptionPlaces places(inspection);
  for (const std::string& option : inspection.plan.options) {
    if (!option.starts_with("-Duser.dir=")) continue;
    report(places.of(option),
           concat({shown(option), " changes no directory: a JVM then looks for files in one and ",
                   "for a relative class path in the other: write ", keys::startDirectory, "=",
                   printable(option.substr(option.find('=') + 1))}));
  }
}

constexpr std::string_view scriptVariables[] = {optionvariables::ofJava, "JAVA_OPTS", "JVM_OPTS"};

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
                         : " is read by other programs' start scripts, not by a JVM",
                ": write the options into ", keys::extendedProperties, ", or ",
                keys::extendedProperties, "=%", name, "%"});
    if (const Entry* entry = inspection.entryOf(concat({keys::environmentPrefix, name})))
      report.harmless(entry->at, text);
    if (!inspection.unit) continue;
    for (const UnitSetting* setting : inspection.unit->all("Environment")) {
      const std::size_t at = setting->value.find(concat({name, "="}));
      if (at != std::string::npos)
        report.harmless(Inspection::unitPosition(ServiceUnit::placeOf(*setting, at)), text);
    }
  }
}

constexpr Rule rules[] = {
    {.id = "start-script",
     .severity = Severity::error,
     .summary = "an argument that a start script cannot pass on",
     .explanation = "When one argument has a double quote and another begins with two dashes, the "
                    "start script of kvf new passes them on as entries of a properties file, in "
                    "which no value can have both a percent sign and @@#@@.",
     .example = {.command = "kvf check -- bin/acme 'a \"b\" %@@#@@' --port=80",
                 .files = {{.path = "bin/acme", .kind = ExampleFile::Kind::startScript}}},
     .remedy = {.command = "kvf check -- bin/acme 'a \"b\" %' --port=80",
                .files = {{.path = "bin/acme", .kind = ExampleFile::Kind::startScript}}},
     .check = startScript},
    {.id = "service-verb",
     .severity = Severity::warning,
     .summary = "start, stop and the like as commands",
     .explanation =
         "The launcher has no such commands: the word reaches the application as its first "
         "argument. After the switches it is not reported when a class beside the start class has "
         "the word, too.",
     .example = {.command = "kvf check -- wrapper start --propFile acme.kvf"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = serviceVerb},
    {.id = "stray-file",
     .severity = Severity::error,
     .summary = "a properties file without --propFile",
     .explanation = "Without --propFile the launcher looks for a file of its own name; the name on "
                    "the command line becomes an argument of the application.",
     .example = {.command = "kvf check --disable missing-file -- wrapper acme.kvf"},
     .remedy = {.command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = strayFile},
    {.id = "option-argument",
     .severity = Severity::warning,
     .summary = "an option of the JVM among the arguments of the application",
     .explanation =
         "What follows the switches, and application.args, goes to main. Options of the "
         "JVM have keys of their own. One after an argument that takes such options by its "
         "name, as -jvmArgs, is not reported.",
     .example = {.command = "kvf check -- wrapper --propFile acme.kvf -Dmode=fast"},
     .remedy = {.lines = "java.property.mode=fast",
                .command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = optionArgument},
    {.id = "user-directory",
     .severity = Severity::warning,
     .summary = "a working directory set with the system property user.dir",
     .explanation = "A JVM sets user.dir to the working directory. Setting it changes only some of "
                    "the places that read it, not the directory.",
     .example = {.lines = "java.property.user.dir=/srv"},
     .remedy = {.lines = "application.start.dir=/srv"},
     .check = userDirectory},
    {.id = "script-variable",
     .severity = Severity::warning,
     .summary = "options of the JVM in a variable that no JVM reads",
     .explanation =
         "A JVM in the launcher's process reads JAVA_TOOL_OPTIONS. JDK_JAVA_OPTIONS is read by the "
         "program java, JAVA_OPTS by start scripts. A reference in a value makes use of either. "
         "Where the application starts such a program or script, allow it.",
     .example = {.lines = "velox.env.JAVA_OPTS=-Xint"},
     .remedy = {.lines = "java.extended.properties=-Xint"},
     .check = scriptVariable},
};

}  // namespace

std::span<const Rule> habitRules() {
  return rules;
}
