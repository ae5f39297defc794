#include "kvf/rules/Keys.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "foundation/PropertyKeys.h"

namespace {

constexpr char files[] = "FILES AND INCLUDES";
constexpr char java[] = "JAVA APPLICATION";
constexpr char classPath[] = "CLASS PATH";
constexpr char options[] = "JVM OPTIONS";
constexpr char native[] = "NATIVE APPLICATION";
constexpr char surroundings[] = "ENVIRONMENT, DIRECTORY AND PROCESS";
constexpr char adjuster[] = "ADJUSTER";
constexpr char set[] = "SET BY THE LAUNCHER";

constexpr char size[] = "a size: digits and k, m, g or t; without a letter, bytes";

constexpr KeyInfo table[] = {
    {.name = "velox.include.kvf",
     .rest = "...",
     .section = files,
     .type = "the path of a file",
     .becomes = "The entries of that file, as if they stood here. Any key that begins like this is "
                "an include; the key itself is not stored.",
     .traps = "A relative path is relative to the working directory, not to the including file: "
              "begin it with %kvf.file.dir%. In a last line without a line end the shorter "
              "velox.include is enough; anywhere else it is an ordinary key.",
     .whenEmpty = "names no file, which ends the launch",
     .names = KeyNames::fileAtLauncher},
    {.name = keys::javaLibrary,
     .section = java,
     .type = "the path of libjvm.so",
     .becomes = "The JVM that --run loads into its own process, and -Djava.library. Its presence "
                "makes the run a Java run.",
     .traps = "A missing file is not an error: the launcher then loads whichever libjvm.so is on "
              "the loader's search path. The program bin/java is not a library.",
     .whenEmpty =
         "makes this a Java run that ends with \"The property java.library can not be empty !\"",
     .names = KeyNames::file,
     .fatalWhenEmpty = true},
    {.name = keys::startClass,
     .section = java,
     .type = "a class name, with dots or slashes",
     .becomes = "The class whose static start method is called.",
     .whenEmpty = "names no class, which ends the launch",
     .names = KeyNames::startClass,
     .fatalWhenEmpty = true},
    {.name = keys::startMethod,
     .section = java,
     .type = "the name of a static void method (String[])",
     .fallback = "main",
     .becomes = "The method that runs the application on the main thread.",
     .traps = "--cmdlineJava and --generateScript always run main.",
     .whenEmpty = "names no method, which ends the launch",
     .fatalWhenEmpty = true},
    {.name = keys::stopMethod,
     .section = java,
     .type = "the name of a static void method without arguments",
     .fallback = "shutdown",
     .becomes = "The method that application.stop.signals calls.",
     .traps = "Without application.stop.signals nothing calls it.",
     .whenEmpty = "names no method, so that no stop method is called"},
    {.name = keys::applicationArgs,
     .section = java,
     .type = "words separated by blanks; double quotes around one that has blanks",
     .becomes = "The application's arguments. A Java application gets them before those of the "
                "command line, a native one after them.",
     .traps =
         "A quote only opens after a blank. An empty pair of quotes is an argument with --run, but "
         "not for an external java. A double quote as such needs commandline.argv.1."},
    {.name = keys::javaPath,
     .section = java,
     .type = "the path of a java program",
     .fallback = "$JAVA_HOME/bin/java, else java along PATH",
     .becomes = "The program that --cmdlineJava and --generateScript run.",
     .traps = "--run does not read it.",
     .names = KeyNames::file},
    {.name = keys::classPathExtended,
     .section = classPath,
     .type = R"(elements separated by ":" or ";")",
     .fallback = "java.class.path",
     .becomes = "-Djava.class.path: an element with .jar, .zip or .class in its name is kept; any "
                "other is a folder, which adds itself and its archives; FOLDER/** adds those of "
                "its subfolders too.",
     .traps =
         "Links are skipped. The order within a folder is that of the file system. A single * is "
         "not expanded. The list ends with \":\", which to a JVM means the working directory.",
     .whenEmpty = "makes the working directory the class path: java.class.path and CLASSPATH are "
                  "not looked at",
     .names = KeyNames::files},
    {.name = keys::classPathSearchLevel,
     .section = classPath,
     .type = "a number from 1 to 12",
     .fallback = "4",
     .becomes = "How deep FOLDER/** is searched; FOLDER itself is level 1.",
     .traps = "Any other value ends the launch.",
     .whenEmpty = "counts as 0, which ends the launch"},
    {.name = keys::classPathMaxLibNumber,
     .section = classPath,
     .type = "a number from 1 to 8192",
     .fallback = "4096",
     .becomes = "How many archives one element may add.",
     .traps = "Any other value ends the launch. Archives beyond the limit are silently left out.",
     .whenEmpty = "counts as 0, which ends the launch"},
    {.name = keys::classPath,
     .section = classPath,
     .type = "elements separated by \":\"",
     .fallback = "the environment variable CLASSPATH, else .",
     .becomes = "-Djava.class.path as it stands, when velox.class.path.extended is absent.",
     .traps = "Folders are not searched for archives, and a JVM does not expand a * here.",
     .whenEmpty = "makes the working directory the class path: CLASSPATH is not looked at",
     .names = KeyNames::files},
    {.name = keys::heapSizeMax,
     .section = options,
     .type = size,
     .fallback = "the JVM's own",
     .becomes = "-Xmx",
     .traps = "A bare number is bytes: 256 is refused by the JVM, 256m is meant.",
     .whenEmpty = "gives the bare option -Xmx, which a JVM refuses",
     .fatalWhenEmpty = true},
    {.name = keys::heapSizeInitial,
     .section = options,
     .type = size,
     .fallback = "the JVM's own",
     .becomes = "-Xms",
     .traps = "More than java.heap.size.max ends the JVM.",
     .whenEmpty = "gives the bare option -Xms, which a JVM refuses",
     .fatalWhenEmpty = true},
    {.name = keys::heapSizeMin,
     .section = options,
     .type = size,
     .fallback = "the JVM's own",
     .becomes = "-Xmn: the size of the young generation",
     .traps = "It is not the minimum of the heap; that is java.heap.size.initial.",
     .whenEmpty = "gives the bare option -Xmn, which a JVM refuses",
     .fatalWhenEmpty = true},
    {.name = keys::threadStackSize,
     .section = options,
     .type = size,
     .fallback = "the JVM's own",
     .becomes = "-Xss, for the main thread too, as far as the hard stack limit allows",
     .whenEmpty = "gives the bare option -Xss, which a JVM refuses",
     .fatalWhenEmpty = true},
    {.name = keys::javaLibraryPath,
     .section = options,
     .type = "folders separated by \":\"",
     .fallback = "the JVM's own",
     .becomes = "-Djava.library.path: where System.loadLibrary looks",
     .whenEmpty = "gives an empty path: no native library is found",
     .names = KeyNames::files},
    {.name = keys::javaPropertyPrefix,
     .rest = "NAME",
     .section = options,
     .type = "text",
     .becomes =
         "-DNAME=value, a system property. These come first among the options, in no fixed order."},
    {.name = keys::extendedProperties,
     .section = options,
     .type = "options separated by single blanks",
     .becomes = "Further JVM options, after the system properties.",
     .traps = "A word that does not begin with \"-\" is joined to the option before it with \"=\". "
              "So is an empty word: two blanks, or an indented continuation line, append a \"=\". "
              "Double quotes protect blanks. --run ignores options that the JVM does not know. "
              "Write a percent sign as \\\\%."},
    {.name = keys::applicationLibrary,
     .section = native,
     .type = "paths of shared libraries, separated by \":\"",
     .becomes =
         "The libraries that together export AppMain, AppStop and RegisterWrapperEntryPoints.",
     .traps = "Every command loads them, even --version. With this key the launcher does not start "
              "itself again, so velox.env.LD_LIBRARY_PATH comes too late.",
     .names = KeyNames::files},
    {.name = keys::environmentPrefix,
     .rest = "NAME",
     .section = surroundings,
     .type = "text",
     .becomes = "The environment variable NAME. The launcher exports it while it reads the file, "
                "and then starts itself once more in the same process, so that the loader sees it.",
     .traps = "In a last line without a line end it is not exported. In both the file and "
              "global.kvf, the environment gets the value of global.kvf. The value is substituted "
              "twice, so an escaped percent sign may become a reference after all."},
    {.name = keys::startDirectory,
     .section = surroundings,
     .type = "the path of a folder",
     .fallback = "the working directory",
     .becomes = "The working directory of the application.",
     .traps =
         "A missing folder is not an error: the launcher stays where it is. --run enters a "
         "relative path twice. Includes, global.kvf and the process-ID file do not depend on it.",
     .names = KeyNames::fileAtLauncher},
    {.name = keys::processIdFile,
     .section = surroundings,
     .type = "the path of a file",
     .becomes = "Where the process ID is written, without a line end, and where --kill reads it.",
     .traps = "Every command except --kill writes it, even --version. It is removed after a native "
              "run, not after a Java run. Instances that share it overwrite each other's.",
     .whenEmpty = "names no file: \"file  can not access\" is printed",
     .names = KeyNames::fileAtLauncher},
    {.name = keys::stopSignals,
     .section = surroundings,
     .type = "names separated by commas, such as TERM,INT",
     .becomes = "The first such signal calls the application's stop method while main goes on; a "
                "second one acts as if the key were absent.",
     .traps = "An unknown name ends the launch."},
    {.name = keys::command,
     .section = surroundings,
     .type = "a command, with its two dashes: --run",
     .fallback = "--run",
     .becomes = "What the launcher does when its command line has no command.",
     .traps = "An unknown word shows the usage, with status 0. --kill here would find its own "
              "process ID.",
     .whenEmpty = "is an unknown command: the usage is shown, with status 0"},
    {.name = keys::adjusterClassPath,
     .section = adjuster,
     .type = "as velox.class.path.extended",
     .becomes =
         "The class path of the adjuster, which may rewrite the properties file before --run.",
     .traps = "It needs java.library: without it the native application runs in its place.",
     .names = KeyNames::files},
    {.name = keys::fileDirectory,
     .section = set,
     .type = "the path of a folder",
     .becomes = "The folder of the first file that was read, as it was given; the working "
                "directory for a bare name.",
     .traps = "Included files do not change it. A relative path stays relative. A value in a file "
              "is replaced at the next include.",
     .use = KeyUse::launcher},
    {.name = keys::pathSeparator,
     .section = set,
     .type = ":",
     .becomes = "The separator of class paths.",
     .use = KeyUse::launcher},
    {.name = keys::kvfFile,
     .section = set,
     .type = "the path of the file",
     .becomes = "-Dwrapper.kvf.file",
     .traps = "A value in a file is replaced.",
     .use = KeyUse::launcher},
    {.name = keys::propertiesFile,
     .section = set,
     .type = "the value of --propFile",
     .use = KeyUse::launcher},
    {.name = keys::scriptArgument,
     .section = set,
     .type = "the argument after --generateScript",
     .use = KeyUse::launcher},
    {.name = keys::signal,
     .section = set,
     .type = "Abort or Normal, the argument after --kill",
     .becomes = "The signal that --kill sends: SIGKILL or SIGINT.",
     .use = KeyUse::launcher},
    {.name = keys::displayPid,
     .section = set,
     .type = "--pid",
     .becomes = "The process ID is printed.",
     .use = KeyUse::launcher},
    {.name = keys::debugFlag,
     .section = set,
     .type = "true",
     .traps = "In a file it has no effect.",
     .use = KeyUse::launcher},
    {.name = keys::silentFlag,
     .section = set,
     .type = "true",
     .traps = "In a file it has no effect.",
     .use = KeyUse::launcher},
    {.name = keys::innerProcess,
     .section = set,
     .type = "true",
     .becomes = "Marks the run that was started again.",
     .use = KeyUse::launcher},
    {.name = keys::adjust,
     .section = set,
     .type = "true",
     .becomes = "Marks the run of the adjuster.",
     .use = KeyUse::launcher},
    {.name = keys::adjustInvoke,
     .section = set,
     .type = "true",
     .becomes = "Leaves out java.property. and further options.",
     .use = KeyUse::launcher},
    {.name = keys::commandLineArgumentPrefix,
     .rest = "NUMBER",
     .section = set,
     .type = "an argument",
     .becomes = "The arguments of the command line that are not switches; 0 is the program. Those "
                "of a file stand in for the ones that the command line does not have, each as it "
                "is, after application.args; the first missing number ends them.",
     .use = KeyUse::launcher},
    {.name = keys::variablePrefix,
     .rest = "NAME",
     .section = set,
     .type = "the value of --propVar NAME=value",
     .becomes = "Is used in substitution only, before all other sources.",
     .traps = "In a file it has no effect.",
     .use = KeyUse::launcher},
    {.name = "ntservice.",
     .rest = "NAME",
     .section = set,
     .type = "text",
     .becomes = "Settings of a Windows service.",
     .traps = "This launcher ignores them.",
     .use = KeyUse::windows},
};

bool matches(const KeyInfo& info, std::string_view key) {
  return info.rest == nullptr ? key == info.name : key.starts_with(info.name);
}

/// Text that scdoc prints as it is.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (std::string_view("\\*_<>#-").find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

std::string paragraph(std::string_view label, std::string_view text) {
  if (text.empty()) return {};
  return "\n\t" + (label.empty() ? "" : std::string(label) + ": ") + escaped(text) + "\n";
}

std::string restAsScdoc(const KeyInfo& info) {
  if (info.rest == nullptr) return {};
  // An underscore after a letter is not markup.
  const bool isMarked =
      std::isalnum(static_cast<unsigned char>(std::string_view(info.name).back())) == 0;
  return isMarked ? "_" + escaped(info.rest) + "_" : escaped(info.rest);
}

}  // namespace

std::span<const KeyInfo> allKeys() {
  return table;
}

const KeyInfo* findKey(std::string_view key) {
  const auto* found = std::find_if(std::begin(table), std::end(table),
                                   [&](const KeyInfo& info) { return matches(info, key); });
  return found == std::end(table) ? nullptr : found;
}

std::vector<std::string_view> settableKeys() {
  std::vector<std::string_view> names;
  for (const KeyInfo& info : table) {
    if (info.use == KeyUse::file) names.emplace_back(info.name);
  }
  return names;
}

std::string keysAsScdoc() {
  std::string page;
  std::string_view section;
  for (const KeyInfo& info : table) {
    if (section != info.section) {
      section = info.section;
      page += "# " + std::string(section) + "\n\n";
    }
    page += "*" + escaped(info.name) + "*";
    page += restAsScdoc(info);
    page += paragraph("", info.becomes);
    page += paragraph("Type", info.type);
    page += paragraph("Default", info.fallback);
    page += paragraph("Mind", info.traps);
    if (info.whenEmpty != nullptr) page += paragraph("Empty", info.whenEmpty);
    page += "\n";
  }
  return page;
}
