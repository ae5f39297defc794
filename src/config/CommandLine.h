#ifndef VELOX_CONFIG_COMMANDLINE_H
#define VELOX_CONFIG_COMMANDLINE_H

#include <string_view>
#include <vector>

#include "config/AssemblyObserver.h"
#include "foundation/Properties.h"

/// The command line as properties.
struct CommandLine {
  SimpleProperties options;       ///< every switch and positional argument
  SimpleProperties variables;     ///< definitions given with "--propVar"
  bool innerProcess = false;      ///< "--innerProcess": re-executed by the outer run
  bool adjustmentChild = false;   ///< "--adjust": runs the properties adjuster
  bool debug = false;             ///< "--debug"
  bool silent = false;            ///< "--silent"
  unsigned int delaySeconds = 0;  ///< the whole seconds of all "--delayStart" together
};

/// Scans the arguments, the program name included; nothing else happens. A missing value counts as
/// empty.
CommandLine scanCommandLine(int argc, char** argv, AssemblyObserver& observer = noObserver);

/// Switches debugging and silence on, and waits for the start delay, as the line asks for.
void applyCommandLine(const CommandLine& line);

/// Every switch and command of the scan.
std::vector<std::string_view> switchNames();
/// True for a switch that takes the argument after it as its value; a command never does.
bool takesValue(std::string_view switchName);

/// The scan for callers that want the options alone: it also takes "--cleanInstall", does not know
/// "--adjust", and "--kill" records no signal. Interface only.
SimpleProperties ParseCommandLineOnly(int argc, char** argv);

/// True when the argument is exactly the switch.
bool CompareParamter(const char* argument, const char* switchName);

/// Stores the definition "name=value" as a substitution variable. Without "=" the whole text is
/// both the name and the value.
void AddVariableProperties(const WString& text, SimpleProperties& variables);

#endif
