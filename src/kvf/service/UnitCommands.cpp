#include "kvf/service/UnitCommands.h"

#include <optional>
#include <utility>

#include "kvf/text/Text.h"

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

class CommandReader {
 public:
  CommandReader(const UnitSettings& unit, UnitVariables variables, std::vector<UnitNote>& notes)
      : unit_(unit), variables_(std::move(variables)), notes_(notes) {
    for (const char* name : {"MAINPID", "SERVICE_RESULT", "EXIT_CODE", "EXIT_STATUS"})
      variables_.emplace(name, "0");
    // A file of defaults may or may not have the variables with more arguments.
    hasDefaults_ = unit.last("EnvironmentFile") != nullptr;
  }

  std::vector<ServiceCommand> read() {
    for (const char* key : commandKeys)
      for (const UnitSetting* setting : unit_.all(key)) readSetting(*setting);
    return std::move(commands_);
  }

 private:
  void readSetting(const UnitSetting& setting) {
    UnitWords words;
    std::size_t offset = 0;
    while (std::optional<UnitWord> word = nextUnitWord(setting.value, offset, words)) {
      if (!readCommand(setting, std::move(word->text), word->at, offset, words)) return;
    }
    if (!words.unbalanced) return;
    notes_.push_back({UnitSettings::placeOf(setting, setting.value.size()),
                      "a quote is not closed, and systemd refuses the unit: close it, or write "
                      "\\\" for a literal one",
                      UnitNote::Weight::refusesUnit});
  }

  /// Up to the end, or a ";"; false when systemd refuses the unit for it.
  bool readCommand(const UnitSetting& setting, std::string program, std::size_t start,
                   std::size_t& offset, UnitWords& words) {
    ServiceCommand command;
    command.key = setting.key;
    const CommandPrefixes prefixes(program);
    command.ignoresFailure = prefixes.ignoresFailure;
    const UnitPlace at = UnitSettings::placeOf(setting, start);
    const std::optional<std::string> file = expanded(program, at);
    if (!file) return false;
    command.program = *file;
    // The name of a program cannot have variables.
    bool isNamed = !prefixes.hasOwnName;
    if (isNamed) add(*file, at, false, command);
    while (const auto word = nextUnitWord(setting.value, offset, words)) {
      const std::string_view written =
          std::string_view(setting.value).substr(word->at, word->end - word->at);
      if (written == ";") break;
      const UnitPlace place = UnitSettings::placeOf(setting, word->at);
      noteEscapes(words, place);
      const std::optional<std::string> text = written == "\\;" ? ";" : expanded(word->text, place);
      if (!text) return false;
      add(*text, place, prefixes.expands, command);
      isNamed = true;
    }
    if (!isNamed) {
      notes_.push_back(
          {at,
           "the command has no name for its program (argv[0]) after \"@\", and systemd "
           "refuses it: write one",
           UnitNote::Weight::refusesUnit});
      return false;
    }
    // A name that variables leave nothing of: the system starts no program without one.
    if (command.arguments.empty()) add("", at, false, command);
    commands_.push_back(std::move(command));
    return true;
  }

  std::optional<std::string> expanded(const std::string& text, const UnitPlace& at) {
    return unit_.expanded(text, at, UnitNote::Weight::refusesUnit, notes_);
  }

  void noteEscapes(UnitWords& words, const UnitPlace& at) {
    for (const std::string& escape : std::exchange(words.unknownEscapes, {})) {
      notes_.push_back({at,
                        concat({shown(escape), " has an escape that systemd does not know, and it ",
                                "stays as it is: write \\\\ for a backslash"}),
                        UnitNote::Weight::mayBeMeant});
    }
  }

  void add(const std::string& text, const UnitPlace& at, bool expands, ServiceCommand& command) {
    std::vector<std::string> unset;
    std::vector<std::string> texts = {text};
    if (expands) texts = expandUnitVariables(text, variables_, unset);
    for (std::string& one : texts) {
      command.arguments.push_back(std::move(one));
      command.places.push_back(at);
    }
    for (const std::string& name : unset) {
      if (hasDefaults_ && text == "$" + name) continue;
      notes_.push_back({at,
                        concat({"$", name, " is not set in the environment of the unit, and ",
                                "systemd replaces it by nothing: set it with Environment=, or ",
                                "write $$ for a dollar sign"}),
                        UnitNote::Weight::mayBeMeant});
    }
  }

  const UnitSettings& unit_;
  UnitVariables variables_;
  std::vector<UnitNote>& notes_;
  bool hasDefaults_ = false;
  std::vector<ServiceCommand> commands_;
};

}  // namespace

std::vector<ServiceCommand> readCommands(const UnitSettings& unit, UnitVariables environment,
                                         std::vector<UnitNote>& notes) {
  return CommandReader(unit, std::move(environment), notes).read();
}
