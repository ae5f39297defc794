#ifndef VELOX_KVF_LAUNCH_TRIALOPTIONS_H
#define VELOX_KVF_LAUNCH_TRIALOPTIONS_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The options of a launch for a trial of the JVM beside a running application: it loads no agent,
/// takes no port and writes none of the application's files.

struct TriedOption {
  std::string option;      ///< as the launch has it
  std::string tried;       ///< as the trial has it: a log file is in the scratch folder
  std::string file = {};   ///< of a log: as the launch has it
  std::string other = {};  ///< and as the trial has it

  bool operator==(const TriedOption&) const = default;
};

struct TrialOptions {
  std::vector<TriedOption> options;
  std::vector<std::string> leftOut;  ///< those with an effect outside of the JVM
};

TrialOptions trialOptions(const std::vector<std::string>& options, std::string_view scratchFolder);

/// True for an option with an effect outside of the JVM, that no trial may have.
bool actsOutside(std::string_view option);

/// Removes the variables that a JVM takes options from, such as JAVA_TOOL_OPTIONS, if one of their
/// options acts outside or logs to a file. Returns them as "NAME=VALUE".
std::vector<std::string> leaveOutVariables(std::map<std::string, std::string>& environment);

#endif
