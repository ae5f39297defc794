#ifndef VELOX_KVF_COMMANDS_CDSOPTIONS_H
#define VELOX_KVF_COMMANDS_CDSOPTIONS_H

#include <string>
#include <vector>

#include "kvf/cds/ArchiveReport.h"
#include "kvf/launch/StartRequest.h"

/// The options of kvf cds.
struct CdsOptions : StartRequest {
  std::string kind = "auto";
  bool shortRuns = false;
  bool jar = false;
  bool refresh = false;
  bool deep = false;
  bool write = false;
  bool json = false;
};

/// Make an archive, or make it anew if it no longer fits; an ExitStatus. Both throw FileError and
/// Interruption, and then leave what was there.
int makeArchive(const CdsOptions& options, const std::vector<std::string>& command,
                ArchiveReport& report);
int refreshArchive(const CdsOptions& options);

#endif
