#ifndef VELOX_KVF_SERVICE_SERVICEUNIT_H
#define VELOX_KVF_SERVICE_SERVICEUNIT_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/service/UnitText.h"
#include "kvf/service/UnitValues.h"
#include "kvf/service/UnitWords.h"

/// A service unit of systemd with its drop-ins, and what systemd would make of it on this machine.

/// A place in one of the unit's files; lines count from 1.
struct UnitPlace {
  std::size_t file = 0;
  std::size_t line = 1;
};

/// What systemd says about a part of the unit, or passes over.
struct UnitNote {
  UnitPlace at;
  std::string text;
  bool refusesUnit = false;  ///< the unit cannot be started
};

/// One command of an Exec...= setting.
struct ServiceCommand {
  std::string key;      ///< such as ExecStart
  std::string program;  ///< the file that is executed, or a name that systemd looks for
  std::vector<std::string> arguments;  ///< with the program's name
  std::vector<UnitPlace> places;       ///< of each argument
  bool ignoresFailure = false;
};

/// What systemd would start the commands in.
struct ServiceSurroundings {
  UnitVariables environment;
  std::string directory;  ///< absolute
  bool directoryMayBeMissing = false;
  std::vector<std::string> madeFolders;  ///< that systemd makes at the start, absolute
  UnitLimit stack = {};
  std::optional<std::uint64_t> memory;  ///< bytes; absent: the unit sets no limit
};

class ServiceUnit {
 public:
  struct File {
    std::string name;  ///< as it was found
    std::string text;
  };

  /// The unit of that file with the drop-ins beside it and, for a unit of the system, wherever
  /// systemd looks. The file of an instance may be its template's. A name without a folder is also
  /// looked for where systemd does. Throws std::runtime_error with a sentence when there is none.
  static ServiceUnit load(const std::string& file);

  [[nodiscard]] const std::vector<File>& files() const { return files_; }
  /// "acme@one.service".
  [[nodiscard]] const std::string& name() const { return name_; }
  /// True for a template of which no instance was named; one stands in for it.
  [[nodiscard]] bool isTemplate() const { return isTemplate_; }

  /// The assignments of a key of [Service] that count: those behind the last empty one.
  [[nodiscard]] std::vector<const UnitSetting*> all(std::string_view key) const;
  /// The last one; null when it is not set.
  [[nodiscard]] const UnitSetting* last(std::string_view key) const;
  /// Its value with specifiers replaced; empty when it is not set.
  [[nodiscard]] std::string value(std::string_view key) const;
  /// The words of all assignments, with specifiers replaced.
  [[nodiscard]] std::vector<std::string> words(std::string_view key) const;
  [[nodiscard]] bool isOn(std::string_view key) const;
  [[nodiscard]] static UnitPlace placeOf(const UnitSetting& setting, std::size_t offset = 0) {
    return {setting.file, setting.lineOf(offset)};
  }

  /// The commands in the order of the files.
  [[nodiscard]] const std::vector<ServiceCommand>& commands() const { return commands_; }
  [[nodiscard]] const ServiceSurroundings& surroundings() const { return surroundings_; }
  [[nodiscard]] const std::vector<UnitNote>& notes() const { return notes_; }

 private:
  ServiceUnit() = default;
  void addFile(const std::string& file);
  void nameIt(const std::string& file);
  void readEnvironment();
  void readEnvironmentFile(const UnitSetting& setting);
  void readSurroundings();
  void readCommands();
  void readCommandsOf(const UnitSetting& setting);
  [[nodiscard]] std::optional<std::string> expanded(std::string_view text, const UnitPlace& at,
                                                    bool refusesUnit = false);

  std::string name_;
  bool isTemplate_ = false;
  std::vector<File> files_;
  std::vector<UnitSetting> settings_;
  UnitSpecifiers specifiers_;
  std::vector<UnitNote> notes_;
  ServiceSurroundings surroundings_;
  std::vector<ServiceCommand> commands_;
};

#endif
