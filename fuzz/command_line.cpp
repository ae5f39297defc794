// A command line, one argument a line: the properties and marks that a launch makes of it.

#include <algorithm>
#include <map>

#include "Fuzzing.h"
#include "config/CommandLine.h"

namespace {

using Set = std::map<std::string, std::string>;

struct Model {
  Set options;
  Set variables;
  bool innerProcess = false;
  bool adjustmentChild = false;
  unsigned int seconds = 0;
};

/// The value of a text that is blanks, a sign and digits, with 32 bits that wrap.
bool readInteger(std::string text, int& number) {
  text.erase(0, text.find_first_not_of(' '));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.erase(0, 1);
  if (text.find_first_not_of("0123456789") != std::string::npos) return false;
  unsigned long value = 0;
  for (const char c : text)
    value = (value * 10 + static_cast<unsigned long>(c - '0')) % (1UL << 32U);
  number = static_cast<int>(static_cast<unsigned int>(negative ? 0 - value : value));
  return true;
}

constexpr std::string_view commands[] = {
    "--install", "--uninstall", "--update", "--start",          "--startSync",
    "--restart", "--stop",      "--run",    "--cmdlineJava",    "--query",
    "--version", "--help",      "--kill",   "--generateScript", "--ntservice"};

bool isCommand(const std::string& word) {
  return std::find(std::begin(commands), std::end(commands), word) != std::end(commands);
}

Model modelOf(const Texts& arguments) {
  Model model;
  Set& options = model.options;
  bool unknown = false;
  int positional = 0;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& word = arguments[i];
    const std::string next = i + 1 < arguments.size() ? arguments[i + 1] : "";
    if (word == "--propFile") {
      options["wrapper.propertiesFile"] = next;
      ++i;
    } else if (word == "--propVar") {
      const std::size_t equals = next.find('=');
      const bool whole = equals == std::string::npos;
      model.variables["wrapper.variable." + next.substr(0, equals)] =
          whole ? next : next.substr(equals + 1);
      ++i;
    } else if (word == "--delayStart") {
      int milliseconds = 0;
      if (!readInteger(next, milliseconds)) continue;
      if (milliseconds > 0) model.seconds += static_cast<unsigned int>(milliseconds / 1000);
      ++i;
    } else if (isCommand(word)) {
      options["wrapper.command"] = word;
      if (word == "--kill") options["wrapper.signal"] = next;
      if (word == "--generateScript") options["wrapper.scriptArgument"] = next;
      if (word == "--ntservice") options["ntservice.name"] = next;
    } else if (word == "--pid") {
      options["wrapper.displaypid"] = "--pid";
    } else if (word == "--debug" || word == "--silent") {
      options["wrapper." + word.substr(2) + ".flag"] = "true";
    } else if (word == "--innerProcess") {
      options["wrapper.property.innerProcess"] = "true";
      model.innerProcess = true;
    } else if (word == "--adjust") {
      options["wrapper.adjust"] = "true";
      model.adjustmentChild = true;
    } else if (word.starts_with("--")) {
      unknown = true;
    } else {
      options["commandline.argv." + std::to_string(positional++)] = word;
    }
  }
  if (unknown) options["wrapper.command"] = "--help";
  return model;
}

Texts listed(const Set& set) {
  Texts entries;
  for (const auto& [key, value] : set) entries.insert(entries.end(), {key, value});
  return entries;
}

Texts listed(const Properties& properties) {
  Set set;
  properties.forEach(
      [&](const WString& key, const WString& value) { set[textOf(key)] = textOf(value); });
  return listed(set);
}

}  // namespace

void fuzz(std::string_view input) {
  Texts arguments = splitAt('\n', upToNul(input));
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const int argc = static_cast<int>(arguments.size());

  const CommandLine line = scanCommandLine(argc, argv.data());
  const Model launch = modelOf(arguments);
  requireSame("options of a launch", listed(launch.options), listed(line.options));
  requireSame("variables", listed(launch.variables), listed(line.variables));
  requireSame("seconds to sleep", launch.seconds, line.delaySeconds);
  requireSame("debug", launch.options.contains("wrapper.debug.flag"), line.debug);
  requireSame("silent", launch.options.contains("wrapper.silent.flag"), line.silent);
  requireSame("inner process", launch.innerProcess, line.innerProcess);
  requireSame("adjustment child", launch.adjustmentChild, line.adjustmentChild);
}
