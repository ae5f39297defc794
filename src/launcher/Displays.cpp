#include "launcher/Displays.h"

#include "foundation/WVersion.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

namespace {

constexpr char commandList[] =
    "where <command> can be one of the following command switches:\n"
    "    --propFile <fileName>\n"
    "    --install, installs the wrapped application as a service\n"
    "    --cleanInstall, installs the wrapped application as a service and will not register "
    "emppty value\n"
    "    --uninstall, uninstalls a previously installed service\n"
    "    --update, updates a previously installed wrapped application\n"
    "      or installs if non-existing\n"
    "    --start, starts a previously installed service\n"
    "    --startSync, starts a previously installed service synchronously\n"
    "    --restart, restarts service\n"
    "    --stop, stops a running service\n"
    "    --kill <Abort|Normal>, kill current Wrapper process \n"
    "    --run, runs the wrapped application as a console application\n"
    "    --generateScript, generate java run script\n"
    "    --cmdlineJava, run java program by command line\n"
    "    --debug, shows debug information\n"
    "    --silent, does not show error messagebox\n"
    "    --query, queries the state of the service\n"
    "    --propVar <name=value>, replaces the custom variable with its value\n"
    "      *** The custom variable has to be set as %name% in the .kvf file.\n"
    "    --delayStart, sets a delay time in milliseconds to run the application\n";

}  // namespace

void DisplayUsage(const char* programName) {
  printConsole("\n%s\n\nUsage:\n    %s <command>\n\n%s\n", WVersion::getBanner().c_str(),
               programName, commandList);
}

void DisplayVersion() {
  printConsole("\n%s\n%s\n\n", WVersion::getBanner().c_str(),
               WVersion::getWrapper_Description().c_str());
}

void DisplayPID() {
  printConsole("\napplication.processid=%d\n", sii_GetProcessID());
}
