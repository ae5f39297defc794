#ifndef VELOX_KVF_SERVICE_SERVICEUNIT_H
#define VELOX_KVF_SERVICE_SERVICEUNIT_H

#include <stdexcept>
#include <string>
#include <vector>

#include "kvf/service/UnitCommands.h"
#include "kvf/service/UnitNote.h"
#include "kvf/service/UnitSettings.h"
#include "kvf/service/UnitSurroundings.h"

/// A service unit of systemd with its drop-ins, and what systemd would make of it on this machine.
class ServiceUnit : public UnitSettings {
 public:
  struct File {
    std::string name;  ///< as it was found
    std::string text;
  };

  /// The unit of that file with the drop-ins beside it and, for a unit of the system, those where
  /// systemd looks. The file of an instance may be its template's. A name without a folder is also
  /// looked for where systemd does. Throws std::runtime_error with a sentence when there is none.
  static ServiceUnit load(const std::string& file);

  [[nodiscard]] const std::vector<File>& files() const { return files_; }
  /// "acme@one.service"; of a template of which no instance was named, with a sample one.
  [[nodiscard]] const std::string& name() const { return name_; }

  /// The commands in the order of the files.
  [[nodiscard]] const std::vector<ServiceCommand>& commands() const { return commands_; }
  [[nodiscard]] const ServiceSurroundings& surroundings() const { return surroundings_; }
  [[nodiscard]] const std::vector<UnitNote>& notes() const { return notes_; }

 private:
  ServiceUnit() = default;
  void addFile(const std::string& file);
  void nameIt(const std::string& file);
  void noteUnreadable();

  std::string name_;
  std::vector<File> files_;
  std::vector<UnitNote> notes_;
  ServiceSurroundings surroundings_;
  std::vector<ServiceCommand> commands_;
};

#endif
