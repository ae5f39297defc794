#include "kvf/launch/TrialOptions.h"

#include <algorithm>
#include <iterator>

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

constexpr std::string_view logPrefix = "-Xlog:";
constexpr std::string_view oldLogPrefix = "-Xloggc:";

/// Where the part ends: at the next colon outside of double quotes.
std::size_t endOfPart(std::string_view text, std::size_t at) {
  bool quoted = false;
  for (; at < text.size() && (quoted || text[at] != ':'); ++at) {
    if (text[at] == '"') quoted = !quoted;
  }
  return at;
}

/// The place of the output in "-Xlog:WHAT:OUTPUT:DECORATORS:OPTIONS"; empty: standard output.
std::string_view outputOf(std::string_view option) {
  const std::size_t endOfWhat = endOfPart(option, logPrefix.size());
  if (endOfWhat == option.size()) return {};
  const std::string_view output =
      option.substr(endOfWhat + 1, endOfPart(option, endOfWhat + 1) - endOfWhat - 1);
  return output == "stdout" || output == "stderr" ? std::string_view() : output;
}

bool logsToFile(std::string_view option) {
  if (option.starts_with(oldLogPrefix)) return option.size() > oldLogPrefix.size();
  return option.starts_with(logPrefix) && !outputOf(option).empty();
}

TriedOption redirected(const std::string& option, const std::string& other) {
  std::string_view output =
      std::string_view(option).substr(std::min(oldLogPrefix.size(), option.size()));
  std::string_view mark;
  if (!option.starts_with(oldLogPrefix)) {
    output = outputOf(option);
    mark = "file=";
  }
  const auto start = static_cast<std::size_t>(output.data() - option.data());
  const std::string tried = concat({std::string_view(option).substr(0, start), mark, other,
                                    std::string_view(option).substr(start + output.size())});
  if (!mark.empty() && output.starts_with(mark)) output.remove_prefix(mark.size());
  return {option, tried, std::string(output), other};
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

std::string_view logFileOf(std::string_view option) {
  if (option.starts_with(oldLogPrefix)) return option.substr(oldLogPrefix.size());
  if (!option.starts_with(logPrefix)) return {};
  std::string_view output = outputOf(option);
  constexpr std::string_view mark = "file=";
  if (output.starts_with(mark)) output.remove_prefix(mark.size());
  if (output.size() > 1 && output.starts_with('"')) output = output.substr(1, output.size() - 2);
  return output;
}

TrialOptions trialOptions(const std::vector<std::string>& options, std::string_view scratchFolder) {
  TrialOptions trial;
  for (const std::string& option : options) {
    if (actsOutside(option)) {
      trial.leftOut.push_back(option);
    } else if (logsToFile(option)) {
      const std::string file =
          concat({scratchFolder, "/log", std::to_string(trial.options.size())});
      trial.options.push_back(redirected(option, file));
    } else {
      trial.options.push_back({option, option});
    }
  }
  return trial;
}

bool wordsActOutside(std::string_view words) {
  while (!words.empty()) {
    const std::size_t end = std::min(words.find_first_of(" \t\n\"'"), words.size());
    const std::string_view word = words.substr(0, end);
    if (actsOutside(word) || logsToFile(word)) return true;
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return false;
}
