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

// A row has the order of the fields of KeyInfo.
constexpr KeyInfo table[] = {
    {"velox.include.kvf", "...", files, "the path of a file", "",
     "The entries of that file, as if they stood here. Any key that begins so is an include; the "
     "key itself is not stored.",
     "A relative path is relative to the working directory, not to the including file: begin it "
     "with %kvf.file.dir%. In a last line without a line end the shorter velox.include is enough; "
     "anywhere else that is an ordinary key.",
     "names no file, which ends the launch", KeyUse::file},

    {keys::javaLibrary, nullptr, java, "the path of libjvm.so", "",
     "The JVM that --run loads into its own process, and -Djava.library. Its presence makes the "
     "run a Java run.",
     "A path that is not there is no error: the launcher then loads whatever libjvm.so the "
     "loader's search path holds. The program bin/java is no library.",
     "makes this a Java run that ends with \"The property java.library can not be empty !\"",
     KeyUse::file, true},
    {keys::startClass, nullptr, java, "a class name, with dots or slashes", "",
     "The class whose static start method is called.", "", "names no class, which ends the launch",
     KeyUse::file, true},
    {keys::startMethod, nullptr, java, "the name of a static method (String[]) without result",
     "main", "The method that runs the application on the main thread.",
     "--cmdlineJava and --generateScript always run main.",
     "names no method, which ends the launch", KeyUse::file, true},
    {keys::stopMethod, nullptr, java, "the name of a static method without arguments and result",
     "shutdown", "The method that application.stop.signals calls.",
     "Without application.stop.signals nothing calls it.",
     "names no method, so that no stop method is called", KeyUse::file},
    {keys::applicationArgs, nullptr, java,
     "words between blanks; double quotes around one that holds blanks", "",
     "The application's arguments. A Java application gets them before those of the command line, "
     "a native one after them.",
     "Quotes open only after a blank. An empty pair of quotes is an argument under --run, but not "
     "for an external java. There is no way to pass a double quote.",
     nullptr, KeyUse::file},
    {keys::javaPath, nullptr, java, "the path of a java program",
     "$JAVA_HOME/bin/java, else java along PATH",
     "The program that --cmdlineJava and --generateScript run.", "--run does not read it.", nullptr,
     KeyUse::file},

    {keys::classPathExtended, nullptr, classPath, R"(elements between ":" or ";")",
     "java.class.path",
     "-Djava.class.path: an element with .jar, .zip or .class in its name stays, any other is a "
     "folder, which brings itself and its archives; FOLDER/** brings those of its subfolders too.",
     "Links are passed over. The order within a folder is that of the file system. A * alone is "
     "not expanded. The list ends with \":\", which to a JVM means the working directory.",
     "gives an empty class path: java.class.path and CLASSPATH are not looked at", KeyUse::file},
    {keys::classPathSearchLevel, nullptr, classPath, "a number from 1 to 12", "4",
     "How deep FOLDER/** is searched; FOLDER itself is level 1.",
     "Any other value ends the launch.", "counts as 0, which ends the launch", KeyUse::file},
    {keys::classPathMaxLibNumber, nullptr, classPath, "a number from 1 to 8192", "4096",
     "How many archives one element may bring.",
     "Any other value ends the launch. Archives beyond the limit are left out without a word.",
     "counts as 0, which ends the launch", KeyUse::file},
    {keys::classPath, nullptr, classPath, "elements between \":\"",
     "the environment variable CLASSPATH, else .",
     "-Djava.class.path as it stands, when velox.class.path.extended is absent.",
     "Folders are not searched for archives, and a JVM does not expand a * here.",
     "gives an empty class path: CLASSPATH is not looked at", KeyUse::file},

    {keys::heapSizeMax, nullptr, options, size, "the JVM's own", "-Xmx",
     "A bare number is bytes: 256 is refused by the JVM, 256m is meant.",
     "gives the bare option -Xmx, which a JVM refuses", KeyUse::file, true},
    {keys::heapSizeInitial, nullptr, options, size, "the JVM's own", "-Xms",
     "More than java.heap.size.max ends the JVM.",
     "gives the bare option -Xms, which a JVM refuses", KeyUse::file, true},
    {keys::heapSizeMin, nullptr, options, size, "the JVM's own",
     "-Xmn: the size of the young generation",
     "It is no minimum of the heap; that is java.heap.size.initial.",
     "gives the bare option -Xmn, which a JVM refuses", KeyUse::file, true},
    {keys::threadStackSize, nullptr, options, size, "the JVM's own",
     "-Xss, for the main thread too as far as the hard stack limit allows", "",
     "gives the bare option -Xss, which a JVM refuses", KeyUse::file, true},
    {keys::javaLibraryPath, nullptr, options, "folders between \":\"", "the JVM's own",
     "-Djava.library.path: where System.loadLibrary looks", "",
     "gives an empty path: no native library is found", KeyUse::file},
    {keys::javaPropertyPrefix, "NAME", options, "text", "",
     "-DNAME=value, a system property. These come first among the options, in no fixed order.", "",
     nullptr, KeyUse::file},
    {keys::extendedProperties, nullptr, options, "options between single blanks", "",
     "Further JVM options, after the system properties.",
     "A word that does not begin with \"-\" is joined to the option before it with \"=\", and an "
     "empty word is one too: two blanks, or an indented continuation line, append a \"=\". Double "
     "quotes protect blanks. --run ignores options that the JVM does not know. Write a percent "
     "sign as \\\\%.",
     nullptr, KeyUse::file},

    {keys::applicationLibrary, nullptr, native, "paths of shared libraries between \":\"", "",
     "The libraries that together export AppMain, AppStop and RegisterWrapperEntryPoints.",
     "Every command loads them, --version too. With this key the launcher does not start itself "
     "again, so that velox.env.LD_LIBRARY_PATH comes too late.",
     nullptr, KeyUse::file},

    {keys::environmentPrefix, "NAME", surroundings, "text", "",
     "The environment variable NAME. The launcher exports it while it reads the file, and then "
     "starts itself once more in the same process, so that the loader sees it.",
     "In a last line without a line end it is not exported. In both the file and global.kvf, the "
     "environment gets the value of global.kvf. The value is substituted twice, so that a percent "
     "sign that was escaped may make a reference again.",
     nullptr, KeyUse::file},
    {keys::startDirectory, nullptr, surroundings, "the path of a folder", "the working directory",
     "The working directory of the application.",
     "A folder that is not there is no error: the launcher stays where it is. --run enters a "
     "relative path twice. Includes, global.kvf and the process-ID file do not depend on it.",
     nullptr, KeyUse::file},
    {keys::processIdFile, nullptr, surroundings, "the path of a file", "",
     "Where the process ID is written, without a line end, and where --kill reads it.",
     "Every command but --kill writes it, --version too. It is removed after a native run, not "
     "after a Java run. Instances that share it overwrite each other's.",
     "names no file: \"file  can not access\" is printed", KeyUse::file},
    {keys::stopSignals, nullptr, surroundings, "names between commas, such as TERM,INT", "",
     "The first such signal calls the application's stop method while main goes on; a second one "
     "acts as if the key were absent.",
     "An unknown name ends the launch.", nullptr, KeyUse::file},
    {keys::command, nullptr, surroundings, "a command, with its two dashes: --run", "--run",
     "What the launcher does, when its command line has no command.",
     "An unknown word shows the usage, with status 0. --kill here would find its own process ID.",
     "is an unknown command: the usage is shown, with status 0", KeyUse::file},

    {keys::adjusterClassPath, nullptr, adjuster, "as velox.class.path.extended", "",
     "Where the adjuster class is. It may rewrite the properties file before --run.",
     "It needs java.library: without, the native application runs in its place.", nullptr,
     KeyUse::file},

    {keys::fileDirectory, nullptr, set, "the path of a folder", "",
     "The folder of the first file that was read, as it was given; the working directory for a "
     "bare name.",
     "Included files do not change it. A relative path stays relative. A value in a file is "
     "replaced at the next include.",
     nullptr, KeyUse::launcher},
    {keys::pathSeparator, nullptr, set, ":", "", "The separator of class paths.", "", nullptr,
     KeyUse::launcher},
    {keys::kvfFile, nullptr, set, "the path of the file", "", "-Dwrapper.kvf.file",
     "A value in a file is replaced.", nullptr, KeyUse::launcher},
    {keys::propertiesFile, nullptr, set, "the value of --propFile", "", "", "", nullptr,
     KeyUse::launcher},
    {keys::scriptArgument, nullptr, set, "the argument after --generateScript", "", "", "", nullptr,
     KeyUse::launcher},
    {keys::signal, nullptr, set, "Abort or Normal, the argument after --kill", "",
     "The signal that --kill sends: SIGKILL or SIGINT.", "", nullptr, KeyUse::launcher},
    {keys::displayPid, nullptr, set, "--pid", "", "The process ID is printed.", "", nullptr,
     KeyUse::launcher},
    {keys::debugFlag, nullptr, set, "true", "", "", "In a file it has no effect.", nullptr,
     KeyUse::launcher},
    {keys::silentFlag, nullptr, set, "true", "", "", "In a file it has no effect.", nullptr,
     KeyUse::launcher},
    {keys::innerProcess, nullptr, set, "true", "", "Marks the run that was started again.", "",
     nullptr, KeyUse::launcher},
    {keys::adjust, nullptr, set, "true", "", "Marks the run of the adjuster.", "", nullptr,
     KeyUse::launcher},
    {keys::adjustInvoke, nullptr, set, "true", "", "Leaves out java.property. and further options.",
     "", nullptr, KeyUse::launcher},
    {keys::commandLineArgumentPrefix, "NUMBER", set, "an argument", "",
     "The arguments of the command line that are no switches; 0 is the program.", "", nullptr,
     KeyUse::launcher},
    {keys::variablePrefix, "NAME", set, "the value of --propVar NAME=value", "",
     "Takes part in substitution alone, and comes first there.", "In a file it has no effect.",
     nullptr, KeyUse::launcher},
    {"ntservice.", "NAME", set, "text", "", "Settings of a Windows service.",
     "This launcher makes nothing of them.", nullptr, KeyUse::windows},
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
  // An underscore behind a letter is no mark.
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
