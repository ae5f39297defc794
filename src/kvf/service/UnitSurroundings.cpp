#include "kvf/service/UnitSurroundings.h"

#include <cstdlib>
#include <filesystem>
#include <utility>

#include <unistd.h>

#include "kvf/service/Account.h"
#include "kvf/service/EnvironmentFile.h"
#include "kvf/service/EnvironmentFiles.h"
#include "kvf/service/UnitCredentials.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

struct FolderKey {
  const char* key;
  char root;  ///< the specifier of the folder above them
  const char* variable;
};

constexpr FolderKey folderKeys[] = {{"RuntimeDirectory", 't', "RUNTIME_DIRECTORY"},
                                    {"StateDirectory", 'S', "STATE_DIRECTORY"},
                                    {"CacheDirectory", 'C', "CACHE_DIRECTORY"},
                                    {"LogsDirectory", 'L', "LOGS_DIRECTORY"},
                                    {"ConfigurationDirectory", 'E', "CONFIGURATION_DIRECTORY"}};

UnitLimit stackLimit(const std::string& text) {
  // What the kernel gives the first process.
  constexpr UnitLimit usual = {std::uint64_t{8} << 20U, unlimitedBytes};
  return unitLimit(text).value_or(usual);
}

std::optional<std::uint64_t> memoryLimit(const std::string& text) {
  if (text.ends_with('%')) {
    const std::optional<std::uint64_t> percent = unitBytes(text.substr(0, text.size() - 1));
    if (!percent || *percent > 100) return std::nullopt;
    const auto pages = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES));
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) / 100 * *percent;
  }
  const std::optional<std::uint64_t> bytes = unitBytes(text);
  return bytes == unlimitedBytes ? std::nullopt : bytes;
}

/// The environment, in the order in which systemd builds it.
class EnvironmentReader {
 public:
  EnvironmentReader(const UnitSettings& unit, UnitVariables& environment,
                    std::vector<UnitNote>& notes)
      : unit_(unit), environment_(environment), notes_(notes) {}

  void read(bool isUserUnit) {
    addOfSystem();
    addOfUser(isUserUnit);
    for (const std::string& name : unit_.words("PassEnvironment"))
      if (const char* passed = std::getenv(name.c_str())) environment_[name] = passed;
    for (const UnitSetting* setting : unit_.all("Environment")) addSetting(*setting);
    for (const UnitSetting* setting : unit_.all("EnvironmentFile")) addFiles(*setting);
    for (const std::string& name : unit_.words("UnsetEnvironment"))
      environment_.erase(name.substr(0, name.find('=')));
    // Only the running service knows their values.
    for (const char* name : {"INVOCATION_ID", "JOURNAL_STREAM", "SYSTEMD_EXEC_PID"})
      environment_.emplace(name, "0");
  }

 private:
  void note(const UnitPlace& at, std::string text,
            UnitNote::Weight weight = UnitNote::Weight::losesPart) {
    notes_.push_back({at, std::move(text), weight});
  }

  void addOfSystem() {
    environment_["PATH"] = fs::is_symlink("/bin")
                               ? "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin"
                               : "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
    environment_["LANG"] = "C.UTF-8";
    for (const EnvironmentEntry& entry :
         parseEnvironmentFile(environmentTextOf("/etc/locale.conf")))
      environment_[entry.name] = entry.value;
    if (hasCredentials(unit_)) environment_[credentialsVariable] = unit_.specifier('d');
  }

  void addOfUser(bool isUserUnit) {
    const std::string userName = unit_.value("User");
    if (!userName.empty() || unit_.isOn("DynamicUser")) {
      const std::string name = userName.empty() ? unit_.specifier('p') : userName;
      const Account user = accountOf(name).value_or(
          Account{.name = name, .home = "/", .shell = "/usr/sbin/nologin"});
      environment_["HOME"] = user.home;
      environment_["SHELL"] = user.shell;
      environment_["USER"] = environment_["LOGNAME"] = user.name;
    } else if (isUserUnit) {
      environment_["HOME"] = unit_.specifier('h');
    }
  }

  void addSetting(const UnitSetting& setting) {
    UnitWords words;
    std::string refused;
    std::optional<UnitPlace> refusedAt;
    for (std::size_t offset = 0; const auto word = nextUnitWord(setting.value, offset, words);) {
      const UnitPlace at = UnitSettings::placeOf(setting, word->at);
      if (!words.unknownEscapes.empty()) {
        note(at, concat({shown(word->text), " has an escape that systemd does not ",
                         "know, and it ignores this and what follows in the ",
                         "setting: write \\\\ for a backslash"}));
        break;
      }
      const std::optional<std::string> text =
          unit_.expanded(word->text, at, UnitNote::Weight::losesPart, notes_);
      if (!text) continue;
      const std::size_t equals = text->find('=');
      if (equals == std::string::npos || !isVariableName(text->substr(0, equals))) {
        refused += (refused.empty() ? "" : " ") + *text;
        if (!refusedAt) refusedAt = at;
        continue;
      }
      environment_[text->substr(0, equals)] = text->substr(equals + 1);
    }
    if (refusedAt) {
      note(*refusedAt, concat({shown(refused), " is not NAME=VALUE, and systemd ",
                               "ignores it: write quotes around a whole assignment ",
                               "with blanks in its value, Environment=\"NAME=a b\""}));
    }
    if (words.unbalanced) {
      note(UnitSettings::placeOf(setting, setting.value.size()),
           "a quote is not closed, and systemd ignores the rest of the setting");
    }
  }

  void addFiles(const UnitSetting& setting) {
    const UnitPlace at = UnitSettings::placeOf(setting);
    std::optional<std::string> name =
        unit_.expanded(setting.value, at, UnitNote::Weight::losesPart, notes_);
    if (!name) return;
    const bool isOptional = name->starts_with('-');
    if (isOptional) name->erase(0, 1);
    if (!name->starts_with('/')) {
      note(at, concat({shown(*name), " is not an absolute path, and systemd ignores ",
                       "it: begin it with /"}));
      return;
    }
    for (const std::string& file : environmentFilesLike(*name)) {
      if (mayBeThere(file)) {
        addFile(file, at);
      } else if (!isOptional) {
        note(at,
             concat({"there is no file ", shown(file), ", and the service does not ",
                     "start: create it, or write EnvironmentFile=-", file,
                     " where it may be missing"}),
             UnitNote::Weight::refusesUnit);
      }
    }
  }

  void addFile(const std::string& file, const UnitPlace& at) {
    for (EnvironmentEntry& entry : parseEnvironmentFile(environmentTextOf(file))) {
      if (entry.isNameAllowed) {
        environment_[entry.name] = std::move(entry.value);
        continue;
      }
      const bool isExport = entry.name.starts_with("export ");
      note(at, concat({file, ":", std::to_string(entry.line), ": ", shown(entry.name),
                       " is not the name of a variable, and systemd ignores it",
                       isExport ? ", as the file is not a shell script: leave out export" : ""}));
    }
  }

  const UnitSettings& unit_;
  UnitVariables& environment_;
  std::vector<UnitNote>& notes_;
};

}  // namespace

ServiceSurroundings readSurroundings(const UnitSettings& unit, bool isUserUnit,
                                     std::vector<UnitNote>& notes) {
  ServiceSurroundings surroundings;
  for (const FolderKey& folder : folderKeys) {
    std::string list;
    for (const std::string& name : unit.words(folder.key)) {
      const std::string path = unit.specifier(folder.root) + "/" + name.substr(0, name.find(':'));
      surroundings.madeFolders.push_back(path);
      list += (list.empty() ? "" : ":") + path;
    }
    if (!list.empty()) surroundings.environment[folder.variable] = list;
  }
  EnvironmentReader(unit, surroundings.environment, notes).read(isUserUnit);
  std::string directory = unit.value("WorkingDirectory");
  surroundings.directoryMayBeMissing = directory.starts_with('-');
  if (surroundings.directoryMayBeMissing) directory.erase(0, 1);
  const std::optional<Account> user = accountOf(unit.value("User"));
  if (directory == "~") directory = user ? user->home : unit.specifier('h');
  if (directory.empty()) directory = isUserUnit ? unit.specifier('h') : "/";
  surroundings.directory = directory;
  surroundings.stack = stackLimit(unit.value("LimitSTACK"));
  const std::string memory = unit.value("MemoryMax");
  surroundings.memory = memoryLimit(memory.empty() ? unit.value("MemoryLimit") : memory);
  return surroundings;
}
