#ifndef VELOX_KVF_COMMANDS_CDSOPTIONS_H
#define VELOX_KVF_COMMANDS_CDSOPTIONS_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// What kvf cds was asked for.
struct CdsOptions {
  std::string file;
  std::string kind = "auto";
  std::optional<unsigned> runFor;  ///< seconds
  std::string until;
  unsigned pairs = 5;  ///< 0: nothing is measured
  bool shortRuns = false;
  bool jar = false;
  bool refresh = false;
  bool deep = false;
  bool write = false;
  std::filesystem::path launcher;
};

/// Makes an archive, or makes it anew when it has to be; an ExitStatus. Both throw FileError and
/// Interruption, and leave then what was there.
int makeArchive(const CdsOptions& options, const std::vector<std::string>& command);
int refreshArchive(const CdsOptions& options);

#endif
