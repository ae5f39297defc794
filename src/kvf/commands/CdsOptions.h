#ifndef VELOX_KVF_COMMANDS_CDSOPTIONS_H
#define VELOX_KVF_COMMANDS_CDSOPTIONS_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The options of kvf cds.
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

/// Make an archive, or make it anew if it no longer fits; an ExitStatus. Both throw FileError and
/// Interruption, and then leave what was there.
int makeArchive(const CdsOptions& options, const std::vector<std::string>& command);
int refreshArchive(const CdsOptions& options);

#endif
