#include "kvf/commands/Subcommand.h"

#include "kvf/launch/JvmTrialRun.h"

namespace {

constexpr Subcommand table[] = {
    {.name = "check",
     .summary = "Reports what is wrong with files or a launch.",
     .footer = "-- COMMAND LINE checks a whole launch as it would be typed.\n"
               "Exit status: 0 nothing found, 1 something found, 2 could not be checked.",
     .declare = declareCheck},
    {.name = "explain",
     .summary = "Shows what a run would use, and where it comes from.",
     .footer = "-- ARGUMENTS are further arguments of the launcher.",
     .declare = declareExplain},
    {.name = "rules", .summary = "Lists the rules, or explains one.", .declare = declareRules},
    {.name = "jvm", .summary = "Lists the JVMs of this machine.", .declare = declareJvm},
    {.name = "import",
     .summary = "Prints a properties file that starts what a command line of java starts.",
     .footer = "-- java ... is that command line.\n"
               "Exit status: 0 all of it is carried over, 1 not all, 2 no file could be made.",
     .declare = declareImport},
    {.name = "new",
     .summary = "Makes a folder to ship from a jar, or from a running or typed java start.",
     .footer = "-- java ... is a command line of java, as for kvf import.\n"
               "Exit status: 0 made, 1 made but not all of the start is carried over, 2 not made.",
     .declare = declareNew},
    {.name = "cds",
     .summary = "Makes the class-data archive with which an application starts sooner.",
     .footer = "-- COMMAND runs that instead of the launcher, such as the application's start "
               "script with\narguments that make it do something typical and end. A server is "
               "ended by --until, --run-for or\nCtrl-C.\nExit status: 0 the archive works, 1 it "
               "does not, 2 that could not be found out.",
     .declare = declareCds},
    {.name = "trace",
     .summary = "Shows where the time of a start goes.",
     .footer = "-- ARGUMENTS are further arguments of the launcher.\n"
               "The application's output is passed on; the tables follow it on standard error.\n"
               "Exit status: 0 traced, 1 traced and the application failed, 2 not traced.",
     .declare = declareTrace},
    {.name = "ready",
     .summary = "Waits until a process listens; for ExecStartPost= of a unit.",
     .footer = "Exit status: 0 it listens, 1 it has ended or the time is over, 2 that could not be "
               "found out.",
     .declare = declareReady},
    {.name = "lsp",
     .summary = "Serves an editor: findings while you type, completion, hover.",
     .footer =
         "Talks to the editor on standard input and output, in the language server protocol.\n"
         "Exit status: 0 the editor ended it as the protocol says, 1 it went away.",
     .declare = declareLsp},
    {.name = "keys",
     .summary = "Lists the keys of a properties file.",
     .hidden = true,
     .declare = declareKeys},
    {.name = "try-jvm",
     .summary = "Creates a JVM and ends.",
     .hidden = true,
     .declare = [](CLI::App&) -> RunSubcommand { return runJvmTrial; }},
};

}  // namespace

std::span<const Subcommand> subcommands() {
  return table;
}
