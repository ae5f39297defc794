#include "kvf/service/ServiceUnit.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <utility>

#include <glob.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "kvf/service/EnvironmentFile.h"
#include "kvf/service/UnitFiles.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

/// What a template is checked as.
constexpr char standInInstance[] = "instance";

struct Account {
  std::string name, home, shell;
};

std::optional<Account> accountOf(const std::string& user) {
  const passwd* entry = ::getpwnam(user.c_str());
  const bool isNumber = !user.empty() && std::all_of(user.begin(), user.end(),
                                                     [](char c) { return c >= '0' && c <= '9'; });
  if (entry == nullptr && isNumber)
    entry = ::getpwuid(static_cast<uid_t>(std::strtoul(user.c_str(), nullptr, 10)));
  if (entry == nullptr) return std::nullopt;
  return Account{entry->pw_name, entry->pw_dir, entry->pw_shell};
}

std::string hostName() {
  utsname system = {};
  return ::uname(&system) == 0 ? system.nodename : "";
}

std::string kernelRelease() {
  utsname system = {};
  return ::uname(&system) == 0 ? system.release : "";
}

/// Letters whose value only the running systemd knows, or which hardly anybody uses here.
constexpr std::string_view untoldSpecifiers = "aAbBdDmMoqwW";

/// "\x2d" and the like, and "-" for "/", in an instance's name.
std::string unescapedName(std::string_view name) {
  std::string text;
  for (std::size_t at = 0; at < name.size(); ++at) {
    const std::string_view rest = name.substr(at);
    if (rest.starts_with("\\x") && rest.size() >= 4) {
      text += splitUnitWords(rest.substr(0, 4)).words.front().text;
      at += 3;
    } else {
      text += rest[0] == '-' ? '/' : rest[0];
    }
  }
  return text;
}

std::string lastPart(const std::string& prefix) {
  const std::size_t dash = prefix.rfind('-');
  return dash == std::string::npos ? prefix : prefix.substr(dash + 1);
}

UnitSpecifiers specifiersOf(const UnitName& name, const std::string& file) {
  const bool isUser = isUserUnit(file);
  const fs::path path = fs::absolute(file).lexically_normal();
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  const uid_t uid = isUser ? ::geteuid() : 0;
  const std::optional<Account> manager = accountOf(std::to_string(uid));
  const std::string home = manager ? manager->home : "/root";
  const std::string host = hostName();
  const std::string instance = unescapedName(name.instance);
  UnitSpecifiers specifiers = {
      {'n', name.whole},
      {'N', name.whole.substr(0, name.whole.size() - serviceSuffix.size())},
      {'p', name.prefix},
      {'P', unescapedName(name.prefix)},
      {'i', name.instance},
      {'I', instance},
      {'j', lastPart(name.prefix)},
      {'J', unescapedName(lastPart(name.prefix))},
      {'f', "/" + (name.hasAt ? instance : unescapedName(name.prefix))},
      {'y', path},
      {'Y', path.parent_path()},
      {'t', isUser && runtime != nullptr ? runtime : "/run"},
      {'S', isUser ? home + "/.local/state" : "/var/lib"},
      {'C', isUser ? home + "/.cache" : "/var/cache"},
      {'L', isUser ? home + "/.local/state/log" : "/var/log"},
      {'E', isUser ? home + "/.config" : "/etc"},
      {'T', "/tmp"},
      {'V', "/var/tmp"},
      {'h', home},
      {'s', manager ? manager->shell : "/bin/sh"},
      {'u', manager ? manager->name : "root"},
      {'U', std::to_string(uid)},
      {'g', isUser ? std::optional<std::string>() : "root"},
      {'G', isUser ? std::to_string(::getegid()) : "0"},
      {'H', host},
      {'l', host.substr(0, host.find('.'))},
      {'v', kernelRelease()},
  };
  for (const char letter : untoldSpecifiers) specifiers.emplace(letter, std::nullopt);
  return specifiers;
}

struct FolderKey {
  const char* key;
  char root;  ///< the specifier of the folder that they lie below
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

/// The files of a pattern, in order; a name without wildcards is itself.
std::vector<std::string> filesLike(const std::string& pattern) {
  if (pattern.find_first_of("*?[") == std::string::npos) return {pattern};
  glob_t found = {};
  const std::unique_ptr<glob_t, decltype(&::globfree)> owner(&found, ::globfree);
  if (::glob(pattern.c_str(), 0, nullptr, &found) != 0) return {};
  return {found.gl_pathv, found.gl_pathv + found.gl_pathc};
}

}  // namespace

ServiceUnit ServiceUnit::load(const std::string& file) {
  const std::string found = findUnitFile(file);
  if (found.empty()) throw std::runtime_error(concat({"there is no unit ", shown(file)}));
  ServiceUnit unit;
  unit.addFile(found);
  unit.nameIt(file);
  const UnitName name = UnitName::of(unit.name_);
  for (const std::string& dropIn : dropInsOf(found, name)) unit.addFile(dropIn);
  unit.specifiers_ = specifiersOf(name, found);
  unit.readSurroundings();
  unit.readCommands();
  return unit;
}

void ServiceUnit::addFile(const std::string& file) {
  UnitText text = parseUnitText(textOfFile(file), files_.size());
  for (UnitComplaint& complaint : text.complaints)
    notes_.push_back({{files_.size(), complaint.line}, std::move(complaint.text)});
  std::move(text.settings.begin(), text.settings.end(), std::back_inserter(settings_));
  files_.push_back({file, textOfFile(file)});
}

void ServiceUnit::nameIt(const std::string& file) {
  const UnitName name = UnitName::of(fs::path(file).filename().native());
  name_ = name.whole;
  isTemplate_ = name.hasAt && name.instance.empty();
  if (!isTemplate_) return;
  std::string instance = standInInstance;
  for (const UnitSetting& setting : settings_)
    if (setting.section == "Install" && setting.key == "DefaultInstance") instance = setting.value;
  name_ = name.prefix + "@" + instance + std::string(serviceSuffix);
}

std::vector<const UnitSetting*> ServiceUnit::all(std::string_view key) const {
  std::vector<const UnitSetting*> found;
  for (const UnitSetting& setting : settings_) {
    if (setting.section != "Service" || setting.key != key) continue;
    if (setting.value.empty()) {
      found.clear();
    } else {
      found.push_back(&setting);
    }
  }
  return found;
}

const UnitSetting* ServiceUnit::last(std::string_view key) const {
  const std::vector<const UnitSetting*> settings = all(key);
  return settings.empty() ? nullptr : settings.back();
}

std::string ServiceUnit::value(std::string_view key) const {
  const UnitSetting* setting = last(key);
  return setting == nullptr ? "" : expandUnitSpecifiers(setting->value, specifiers_).text;
}

std::vector<std::string> ServiceUnit::words(std::string_view key) const {
  std::vector<std::string> found;
  for (const UnitSetting* setting : all(key))
    for (const UnitWord& word : splitUnitWords(setting->value).words)
      found.push_back(expandUnitSpecifiers(word.text, specifiers_).text);
  return found;
}

bool ServiceUnit::isOn(std::string_view key) const {
  return unitBoolean(value(key)).value_or(false);
}

std::optional<std::string> ServiceUnit::expanded(std::string_view text, const UnitPlace& at,
                                                 bool refusesUnit) {
  ExpandedSpecifiers result = expandUnitSpecifiers(text, specifiers_);
  if (!result.refused.empty()) {
    notes_.push_back({at,
                      concat({"systemd knows no %", result.refused.substr(0, 1),
                              " and refuses the setting: write %% for a percent sign"}),
                      refusesUnit});
    return std::nullopt;
  }
  if (!result.unknown.empty()) {
    notes_.push_back({at, concat({"%", result.unknown.substr(0, 1), " of ", shown(text),
                                  " is not known here and stays as it is"})});
  }
  return std::move(result.text);
}

void ServiceUnit::readSurroundings() {
  const auto pathOf = [&](char letter) { return specifiers_.at(letter).value_or(""); };
  for (const FolderKey& folder : folderKeys) {
    std::string list;
    for (const std::string& name : words(folder.key)) {
      const std::string path = pathOf(folder.root) + "/" + name.substr(0, name.find(':'));
      surroundings_.madeFolders.push_back(path);
      list += (list.empty() ? "" : ":") + path;
    }
    if (!list.empty()) surroundings_.environment[folder.variable] = list;
  }
  readEnvironment();
  // Only the running service knows their values.
  for (const char* name : {"INVOCATION_ID", "JOURNAL_STREAM", "SYSTEMD_EXEC_PID"})
    surroundings_.environment.emplace(name, "0");
  std::string directory = value("WorkingDirectory");
  surroundings_.directoryMayBeMissing = directory.starts_with('-');
  if (surroundings_.directoryMayBeMissing) directory.erase(0, 1);
  const std::optional<Account> user = accountOf(value("User"));
  const bool isUser = isUserUnit(files_.front().name);
  if (directory == "~") directory = user ? user->home : pathOf('h');
  if (directory.empty()) directory = isUser ? pathOf('h') : "/";
  surroundings_.directory = directory;
  surroundings_.stack = stackLimit(value("LimitSTACK"));
  const std::string memory = value("MemoryMax");
  surroundings_.memory = memoryLimit(memory.empty() ? value("MemoryLimit") : memory);
}

void ServiceUnit::readEnvironment() {
  UnitVariables& environment = surroundings_.environment;
  environment["PATH"] = fs::is_symlink("/bin")
                            ? "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin"
                            : "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
  environment["LANG"] = "C.UTF-8";
  for (const EnvironmentEntry& entry : parseEnvironmentFile(textOfFile("/etc/locale.conf")))
    environment[entry.name] = entry.value;
  const std::string userName = value("User");
  if (!userName.empty() || isOn("DynamicUser")) {
    const std::string name = userName.empty() ? specifiers_.at('p').value_or("") : userName;
    const Account user = accountOf(name).value_or(Account{name, "/", "/usr/sbin/nologin"});
    environment["HOME"] = user.home;
    environment["SHELL"] = user.shell;
    environment["USER"] = environment["LOGNAME"] = user.name;
  } else if (isUserUnit(files_.front().name)) {
    environment["HOME"] = specifiers_.at('h').value_or("");
  }
  for (const std::string& name : words("PassEnvironment"))
    if (const char* passed = std::getenv(name.c_str())) environment[name] = passed;

  for (const UnitSetting* setting : all("Environment")) {
    UnitWords notes;
    std::string refused;
    std::optional<UnitPlace> refusedAt;
    for (std::size_t offset = 0; const auto word = nextUnitWord(setting->value, offset, notes);) {
      const UnitPlace at = placeOf(*setting, word->at);
      if (!notes.unknownEscapes.empty()) {
        notes_.push_back({at, concat({shown(word->text), " has an escape that systemd does not ",
                                      "know, and it passes over this and what follows in the ",
                                      "setting: write \\\\ for a backslash"})});
        break;
      }
      const std::optional<std::string> text = expanded(word->text, at);
      if (!text) continue;
      const std::size_t equals = text->find('=');
      if (equals == std::string::npos || !isVariableName(text->substr(0, equals))) {
        refused += (refused.empty() ? "" : " ") + *text;
        if (!refusedAt) refusedAt = at;
        continue;
      }
      environment[text->substr(0, equals)] = text->substr(equals + 1);
    }
    if (refusedAt) {
      notes_.push_back(
          {*refusedAt, concat({shown(refused), " is no NAME=VALUE, and systemd passes ",
                               "over it: write quotes around a whole assignment ",
                               "with blanks in its value, Environment=\"NAME=a b\""})});
    }
    if (notes.unbalanced) {
      notes_.push_back({placeOf(*setting, setting->value.size()),
                        "a quote is not closed, and systemd passes over the rest of the setting"});
    }
  }
  for (const UnitSetting* setting : all("EnvironmentFile")) readEnvironmentFile(*setting);
  for (const std::string& name : words("UnsetEnvironment"))
    environment.erase(name.substr(0, name.find('=')));
}

void ServiceUnit::readEnvironmentFile(const UnitSetting& setting) {
  const UnitPlace at = placeOf(setting);
  std::optional<std::string> name = expanded(setting.value, at);
  if (!name) return;
  const bool isOptional = name->starts_with('-');
  if (isOptional) name->erase(0, 1);
  if (!name->starts_with('/')) {
    notes_.push_back({at, concat({shown(*name), " is no absolute path, and systemd passes over ",
                                  "it: begin it with /"})});
    return;
  }
  for (const std::string& file : filesLike(*name)) {
    if (::access(file.c_str(), F_OK) != 0) {
      if (!isOptional) {
        notes_.push_back({at,
                          concat({"there is no file ", shown(file), ", and the service does not ",
                                  "start: make it, or write EnvironmentFile=-", file,
                                  " where it may be missing"}),
                          true});
      }
      continue;
    }
    for (EnvironmentEntry& entry : parseEnvironmentFile(textOfFile(file))) {
      if (entry.isNameAllowed) {
        surroundings_.environment[entry.name] = std::move(entry.value);
        continue;
      }
      const bool isExport = entry.name.starts_with("export ");
      notes_.push_back(
          {at, concat({file, ":", std::to_string(entry.line), ": ", shown(entry.name),
                       " is no name of a variable, and systemd passes over it",
                       isExport ? ", as the file is no shell script: leave out export" : ""})});
    }
  }
}

namespace {

constexpr const char* commandKeys[] = {"ExecCondition", "ExecStartPre", "ExecStart",
                                       "ExecStartPost", "ExecReload",   "ExecStop",
                                       "ExecStopPost"};

/// Takes the prefixes off the program.
struct CommandPrefixes {
  bool ignoresFailure = false;
  bool hasOwnName = false;  ///< the next word is argv[0]
  bool expands = true;

  explicit CommandPrefixes(std::string& program) {
    std::size_t length = 0;
    for (; length < program.size(); ++length) {
      const char c = program[length];
      if (c == '-') {
        ignoresFailure = true;
      } else if (c == '@') {
        hasOwnName = true;
      } else if (c == ':') {
        expands = false;
      } else if (c != '+' && c != '!' && c != '|') {
        break;
      }
    }
    program.erase(0, length);
  }
};

}  // namespace

void ServiceUnit::readCommands() {
  for (const char* key : commandKeys)
    for (const UnitSetting* setting : all(key)) readCommandsOf(*setting);
}

void ServiceUnit::readCommandsOf(const UnitSetting& setting) {
  UnitVariables variables = surroundings_.environment;
  for (const char* name : {"MAINPID", "SERVICE_RESULT", "EXIT_CODE", "EXIT_STATUS"})
    variables.emplace(name, "0");
  UnitWords notes;
  std::size_t offset = 0;
  while (std::optional<UnitWord> word = nextUnitWord(setting.value, offset, notes)) {
    ServiceCommand command;
    command.key = setting.key;
    const CommandPrefixes prefixes(word->text);
    command.ignoresFailure = prefixes.ignoresFailure;
    const UnitPlace at = placeOf(setting, word->at);
    const std::optional<std::string> program = expanded(word->text, at, true);
    if (!program) return;
    command.program = *program;
    std::vector<std::string> unset;
    const auto add = [&](const std::string& text, const UnitPlace& place) {
      std::vector<std::string> texts = {text};
      if (prefixes.expands) texts = expandUnitVariables(text, variables, unset);
      for (std::string& one : texts) {
        command.arguments.push_back(std::move(one));
        command.places.push_back(place);
      }
      for (const std::string& name : unset) {
        notes_.push_back({place, concat({"$", name, " is not set in the environment of the unit, ",
                                         "and systemd puts nothing in its place: set it with ",
                                         "Environment=, or write $$ for a dollar sign"})});
      }
      unset.clear();
    };
    if (!prefixes.hasOwnName) add(*program, at);
    while ((word = nextUnitWord(setting.value, offset, notes))) {
      const std::string_view written =
          std::string_view(setting.value).substr(word->at, word->end - word->at);
      if (written == ";") break;
      const UnitPlace place = placeOf(setting, word->at);
      for (const std::string& escape : std::exchange(notes.unknownEscapes, {})) {
        notes_.push_back(
            {place, concat({shown(escape), " has an escape that systemd does not ",
                            "know, and it stays as it is: write \\\\ for a ", "backslash"})});
      }
      const std::optional<std::string> text =
          written == "\\;" ? ";" : expanded(word->text, place, true);
      if (!text) return;
      add(*text, place);
    }
    commands_.push_back(std::move(command));
  }
  if (notes.unbalanced) {
    notes_.push_back({placeOf(setting, setting.value.size()),
                      "a quote is not closed, and systemd refuses the unit: close it, or write "
                      "\\\" for one that is meant",
                      true});
  }
}
