#include "kvf/import/JavaStart.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

#include "foundation/TextPieces.h"
#include "kvf/import/ImportError.h"
#include "kvf/import/SessionVariables.h"
#include "kvf/jvm/OptionVariables.h"
#include "kvf/launch/Surroundings.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"
#include "kvf/process/ProgramPath.h"
#include "kvf/service/Account.h"
#include "kvf/service/EnvironmentFile.h"
#include "kvf/service/EnvironmentFiles.h"
#include "kvf/service/ServiceUnit.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

/// What java, a JVM or the system's loader reads from the environment of a typed command.
constexpr const char* readByJvm[] = {optionvariables::first, optionvariables::last,
                                     "LD_LIBRARY_PATH", "LD_PRELOAD"};

/// Chooses what is to be set of an environment that was made for this start.
void chooseVariables(JavaStart& start) {
  for (const auto& [name, value] : start.environment) {
    if (isUsedUp(name)) continue;
    if (isOfSession(name, value)) {
      start.leftOut.push_back(name);
    } else {
      start.variables.emplace(name, value);
    }
  }
}

std::string absoluteIn(const std::string& directory, const std::string& path) {
  return (fs::path(directory) / path).lexically_normal();
}

/// The file of a program, along PATH where it has no slash; empty: there is none.
std::string programFile(const std::string& program, const JavaStart& start) {
  if (program.find('/') != std::string::npos) return absoluteIn(start.directory, program);
  const auto path = start.environment.find("PATH");
  if (path == start.environment.end()) return {};
  const std::string file = programAlongPath(program, path->second, start.directory);
  return fs::path(file).lexically_normal();
}

/// The JVM that the program java starts.
std::optional<Jvm> jvmOfProgram(const std::string& program) {
  std::error_code error;
  for (const fs::path& file : {fs::path(program), fs::canonical(program, error)}) {
    if (file.parent_path().filename() != "bin") continue;
    const fs::path home = file.parent_path().parent_path();
    // A runtime inside a JDK 8 is identified by the folder around it.
    if (home.filename() == "jre") {
      if (auto jvm = jvmAt(home.parent_path())) return jvm;
    }
    if (auto jvm = jvmAt(home)) return jvm;
  }
  return std::nullopt;
}

struct AssignedVariable {
  std::string name, value;
};

/// Of a word as a shell takes it, or the program env, which takes any name.
std::optional<AssignedVariable> assignment(const std::string& word, bool byEnv) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0) return std::nullopt;
  std::string name = word.substr(0, equals);
  if (!byEnv && !isVariableName(name)) return std::nullopt;
  return AssignedVariable{std::move(name), word.substr(equals + 1)};
}

/// Finds java after variables and programs that only start another one.
void findJava(const std::vector<SourcedWord>& words, JavaStart& start) {
  constexpr std::string_view starters[] = {"env", "exec", "nohup"};
  std::size_t at = 0;
  for (bool byEnv = false; at < words.size(); ++at) {
    const std::string& word = words[at].text;
    if (const auto variable = assignment(word, byEnv)) {
      start.environment[variable->name] = variable->value;
      if (!isUsedUp(variable->name)) start.variables[variable->name] = variable->value;
      continue;
    }
    const std::string starter = fs::path(word).filename();
    if (std::find(std::begin(starters), std::end(starters), starter) == std::end(starters)) break;
    byEnv = starter == "env";
  }
  if (at == words.size()) throw ImportError("the command line has no program in it");
  const std::string& program = words[at].text;
  start.program = programFile(program, start);
  std::error_code error;
  const std::string name = fs::path(program).filename();
  const bool isJava = name == "java" || fs::canonical(start.program, error).filename() == "java";
  if (!isJava) {
    throw ImportError(concat(
        {shown(program),
         " is not java: import what it starts once that runs, with kvf import --pid NUMBER"}));
  }
  if (start.program.empty() || !fs::exists(start.program, error))
    throw ImportError(concat({shown(program), " is not there"}));
  start.words.assign(words.begin() + static_cast<std::ptrdiff_t>(at) + 1, words.end());
  start.jvm = jvmOfProgram(start.program);
}

std::vector<SourcedWord> numbered(const std::vector<std::string>& texts) {
  std::vector<SourcedWord> words;
  words.reserve(texts.size());
  for (const std::string& text : texts)
    words.push_back({text, concat({"word ", std::to_string(words.size())})});
  return words;
}

// --- a running process -----------------------------------------------------------------------

/// The texts that a NUL ends each.
std::vector<std::string> textsIn(const std::string& bytes) {
  std::vector<std::string> texts;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t end = std::min(bytes.find('\0', at), bytes.size());
    texts.push_back(bytes.substr(at, end - at));
    at = end + 1;
  }
  return texts;
}

/// The value of a line "Name:\tvalue" of the process's status; its first word.
std::string statusValue(const std::string& status, std::string_view name) {
  std::istringstream lines(status);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(concat({name, ":"}))) continue;
    std::istringstream words(line.substr(name.size() + 1));
    std::string value;
    words >> value;
    return value;
  }
  return {};
}

constexpr std::string_view deletedMark = " (deleted)";

/// The library of the JVM that a process has open; empty: none.
std::string libraryIn(const std::string& maps, bool& isDeleted) {
  std::istringstream lines(maps);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t at = line.find('/');
    if (at == std::string::npos) continue;
    std::string file = line.substr(at);
    const bool deleted = file.ends_with(deletedMark);
    if (deleted) file.erase(file.size() - deletedMark.size());
    if (!file.ends_with("/libjvm.so")) continue;
    isDeleted = deleted;
    return file;
  }
  return {};
}

fs::path linkAt(const fs::path& link) {
  std::error_code error;
  fs::path target = fs::read_symlink(link, error);
  if (error) throw FileError("read", link, error.value());
  return target;
}

/// The name of the user with that number, or the number; empty for root.
std::string accountName(const std::string& number) {
  if (number == "0") return {};
  const std::optional<Account> account = accountOf(number);
  return account ? account->name : number;
}

/// What a properties file does not set: that is up to whatever starts the launcher.
std::vector<std::string> notesOnProcess(const fs::path& folder, const std::string& status) {
  std::vector<std::string> notes = {
      concat({"The process has the user ID ", statusValue(status, "Uid"), " and the umask ",
              statusValue(status, "Umask"), "."})};
  std::error_code error;
  for (const auto& [number, name] : {std::pair("1", "output"), std::pair("2", "error")}) {
    const fs::path target = fs::read_symlink(folder / "fd" / number, error);
    if (fs::is_regular_file(target, error))
      notes.push_back(
          concat({"Its standard ", name, " goes to ", printable(target.native()), "."}));
  }
  return notes;
}

/// What the process, which has mounts of its own, sees otherwise of what it names.
void addForeignFiles(const fs::path& folder, const std::string& library, JavaStart& start) {
  constexpr std::size_t mostNamed = 5;
  std::error_code error;
  if (fs::equivalent(folder / "ns/mnt", "/proc/self/ns/mnt", error)) return;
  std::set<std::string> names = {start.program, library};
  for (const SourcedWord& word : start.words)
    for (const std::string_view piece : piecesOf(word.text, "=:,;@"))
      names.insert(absoluteIn(start.directory, std::string(piece)));
  for (const std::string& name : names) {
    const fs::path seen = folder / "root" / fs::path(name).relative_path();
    if (name.empty() || !fs::exists(seen, error) || fs::equivalent(seen, name, error)) continue;
    if (start.losses.size() == mostNamed) return;
    start.losses.push_back(concat({printable(name),
                                   ": for the process, which has mounts of its own, it is another "
                                   "one than here"}));
  }
}

// These look at the folder of a process in /proc and throw ImportError when it cannot be imported.

void checkRoot(const fs::path& folder, const std::string& number) {
  std::error_code error;
  if (!fs::exists(folder, error)) throw ImportError(concat({"there is no process ", number}));
  if (!fs::equivalent(folder / "root", "/", error) && !error) {
    throw ImportError(
        concat({"process ", number, " has a root of its own, as in a container: run kvf there"}));
  }
}

std::map<std::string, std::string> environmentIn(const fs::path& folder) {
  std::map<std::string, std::string> environment;
  for (const std::string& text : textsIn(readWhole(folder / "environ"))) {
    const std::size_t equals = text.find('=');
    if (equals != std::string::npos)
      environment.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return environment;
}

std::string programIn(const fs::path& folder, const std::string& number) {
  std::string program = linkAt(folder / "exe");
  if (program.ends_with(deletedMark)) program.erase(program.size() - deletedMark.size());
  const fs::path name = fs::path(program).filename();
  if (name == "wrapper")
    throw ImportError(concat({"process ", number,
                              " is the launcher: it has a properties file already, which kvf "
                              "explain tells about"}));
  if (name != "java")
    throw ImportError(concat({"process ", number, " is not java but ", shown(program),
                              ": only what java was started with is imported"}));
  return program;
}

std::string directoryIn(const fs::path& folder, const std::string& number) {
  std::error_code error;
  std::string directory = linkAt(folder / "cwd");
  if (directory.ends_with(deletedMark) && !fs::exists(directory, error)) {
    throw ImportError(concat({"the working directory of process ", number,
                              " has been removed: start it anew and import that process"}));
  }
  if (!fs::equivalent(directory, folder / "cwd", error)) {
    throw ImportError(concat(
        {"process ", number, " sees other files than kvf, as in a container: run kvf there"}));
  }
  return directory;
}

// --- a unit ----------------------------------------------------------------------------------

/// The file that systemd executes is not always the one that the command names first.
std::vector<SourcedWord> wordsOf(const ServiceUnit& unit, const ServiceCommand& command) {
  std::vector<SourcedWord> words;
  for (std::size_t i = 0; i < command.arguments.size(); ++i) {
    const UnitPlace& place = command.places[i];
    words.push_back(
        {command.arguments[i], concat({fs::path(unit.files()[place.file].name).filename().native(),
                                       ":", std::to_string(place.line)})});
  }
  words.front().text = command.program;
  return words;
}

}  // namespace

JavaStart typedStart(const std::vector<std::string>& commandLine) {
  const LaunchSurroundings here = LaunchSurroundings::here();
  JavaStart start;
  start.origin = "a command line";
  start.directory = here.directory;
  if (start.directory.empty())
    throw ImportError("the working directory has been removed, or cannot be told: go into another");
  start.environment = here.environment;
  for (const char* name : readByJvm) {
    const std::string value = here.variable(name);
    if (!value.empty()) start.variables.emplace(name, value);
  }
  findJava(numbered(commandLine), start);
  return start;
}

JavaStart startOfProcess(int process) {
  const std::string number = std::to_string(process);
  const fs::path folder = fs::path("/proc") / number;
  checkRoot(folder, number);
  JavaStart start;
  start.origin = concat({"process ", number});
  start.environment = environmentIn(folder);
  start.program = programIn(folder, number);
  start.directory = directoryIn(folder, number);
  std::vector<SourcedWord> words = numbered(textsIn(readWhole(folder / "cmdline")));
  if (!words.empty()) start.words.assign(words.begin() + 1, words.end());

  const std::string status = readWhole(folder / "status");
  start.notes = notesOnProcess(folder, status);
  bool isReplaced = false;
  const std::string library = libraryIn(readWhole(folder / "maps"), isReplaced);
  if (!library.empty()) start.jvm = jvmOfLibrary(library);
  if (!start.jvm) start.jvm = jvmOfProgram(start.program);
  addForeignFiles(folder, library, start);
  start.user = accountName(statusValue(status, "Uid"));
  if (isReplaced)
    start.notes.emplace_back(
        "The JVM was updated while the process runs; the new one is named here.");
  chooseVariables(start);
  return start;
}

JavaStart startOfUnit(const std::string& file) {
  const ServiceUnit unit = ServiceUnit::load(file);
  for (const char* key : {"RootDirectory", "RootImage"}) {
    if (unit.last(key) != nullptr)
      throw ImportError(
          concat({shown(file), " starts its commands in another root, by ", key, "="}));
  }
  const ServiceCommand* command = nullptr;
  for (const ServiceCommand& each : unit.commands()) {
    if (each.key != "ExecStart") continue;
    if (command != nullptr)
      throw ImportError(concat({shown(file), " has more than one command in ExecStart="}));
    command = &each;
  }
  if (command == nullptr)
    throw ImportError(concat({shown(file), " has no ExecStart= that systemd would start"}));
  JavaStart start;
  start.origin = concat({"ExecStart= of ", unit.name()});
  start.directory = unit.surroundings().directory;
  start.environment = unit.surroundings().environment;
  if (const std::string user = unit.value("User"); user != "root" && user != "0") start.user = user;
  for (const std::string& reason : forbiddenEnvironmentFiles(unit))
    start.losses.push_back(concat({"variables of the unit: ", reason}));
  chooseVariables(start);
  // systemd gives every service a language.
  if (const auto language = start.variables.find("LANG");
      language != start.variables.end() && language->second == "C.UTF-8")
    start.variables.erase(language);
  const std::vector<SourcedWord> words = wordsOf(unit, *command);
  try {
    findJava(words, start);
  } catch (const ImportError&) {
    throw ImportError(concat({shown(unit.name()), " starts ", shown(words.front().text),
                              ", which is not java; import what it has started: ",
                              "kvf import --pid $(systemctl show -P MainPID ", unit.name(), ")"}));
  }
  return start;
}
