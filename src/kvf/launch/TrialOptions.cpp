#include "kvf/launch/TrialOptions.h"

#include <algorithm>
#include <iterator>

#include "kvf/jvm/OptionVariables.h"
#include "kvf/launch/LogOption.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view outside[] = {
    // Code of others, and ports
    "-javaagent:", "-agentlib:", "-agentpath:", "-Xrun", "-Dcom.sun.management.",
    "-XX:+ManagementServer", "-Djava.system.class.loader=",
    // Files
    "-XX:StartFlightRecording", "-XX:FlightRecorderOptions", "-XX:+FlightRecorder",
    "-XX:ArchiveClassesAtExit=", "-XX:+AutoCreateSharedArchive",
    "-XX:DumpLoadedClassList=", "-XX:+RecordDynamicDumpInfo", "-Xshare:dump",
    "-XX:+DumpSharedSpaces", "-XX:AOTMode=record", "-XX:AOTMode=create",
    "-XX:AOTConfiguration=", "-XX:AOTCacheOutput=", "-XX:+HeapDump", "-XX:+LogVMOutput",
    "-XX:+LogCompilation", "-XX:LogFile=", "-XX:CRaC",
    // Programs
    "-XX:OnError=", "-XX:OnOutOfMemoryError=",
    // Waiting, and memory that the application needs
    "-XX:+PauseAtStartup", "-XX:+ShowMessageBoxOnError", "-XX:+AlwaysPreTouch",
    // More options
    "-XX:Flags=", "-XX:VMOptionsFile="};

/// A JVM takes options from them, too.
constexpr const char* variablesOfJvm[] = {optionvariables::first, optionvariables::last,
                                          optionvariables::ofCacheMaker};

TriedOption redirected(const std::string& option, const std::string& other) {
  constexpr std::string_view mark = "file=";
  std::string_view output = logOutputOf(option);
  const auto start = static_cast<std::size_t>(output.data() - option.data());
  const std::string tried =
      concat({std::string_view(option).substr(0, start), logOption(option) ? mark : "", other,
              std::string_view(option).substr(start + output.size())});
  if (logOption(option) && output.starts_with(mark)) output.remove_prefix(mark.size());
  return {option, tried, std::string(output), other};
}

/// True when one of the blank-separated words acts outside, or logs to a file.
bool wordsActOutside(std::string_view words) {
  while (!words.empty()) {
    const std::size_t end = std::min(words.find_first_of(" \t\n\"'"), words.size());
    const std::string_view word = words.substr(0, end);
    if (actsOutside(word) || !logOutputOf(word).empty()) return true;
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return false;
}

}  // namespace

bool actsOutside(std::string_view option) {
  constexpr std::string_view manager = "-Djava.security.manager=";
  constexpr std::string_view ownManagers[] = {"", "allow", "disallow", "default"};
  if (option.starts_with(manager)) {
    const std::string_view value = option.substr(manager.size());
    return std::find(std::begin(ownManagers), std::end(ownManagers), value) ==
           std::end(ownManagers);
  }
  return std::any_of(std::begin(outside), std::end(outside),
                     [&](std::string_view start) { return option.starts_with(start); });
}

TrialOptions trialOptions(const std::vector<std::string>& options, std::string_view scratchFolder) {
  TrialOptions trial;
  for (const std::string& option : options) {
    if (actsOutside(option)) {
      trial.leftOut.push_back(option);
    } else if (!logOutputOf(option).empty()) {
      const std::string file =
          concat({scratchFolder, "/log", std::to_string(trial.options.size())});
      trial.options.push_back(redirected(option, file));
    } else {
      trial.options.push_back({option, option});
    }
  }
  return trial;
}

std::vector<std::string> leaveOutVariables(std::map<std::string, std::string>& environment) {
  std::vector<std::string> leftOut;
  for (const char* name : variablesOfJvm) {
    const auto variable = environment.find(name);
    if (variable == environment.end() || !wordsActOutside(variable->second)) continue;
    leftOut.push_back(concat({name, "=", variable->second}));
    environment.erase(variable);
  }
  return leftOut;
}
