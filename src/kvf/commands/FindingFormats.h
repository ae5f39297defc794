#ifndef VELOX_KVF_COMMANDS_FINDINGFORMATS_H
#define VELOX_KVF_COMMANDS_FINDINGFORMATS_H

#include <span>
#include <string_view>

#include "kvf/commands/Output.h"
#include "kvf/rules/Finding.h"

/// A way to print findings.
struct FindingFormat {
  const char* name;
  ExitStatus (*print)(std::span<const Finding> findings);
};

/// Every format:
///
///     text  "FILE:LINE: error: TEXT [rule]", a line each, coloured on a terminal
///     json  {"schema", "findings": [{"file", "line", "severity", "rule", "fatal", "text"}]}; where
///           they are known "column", "endLine", "endColumn", and "fix": [{the same, "text"}]
///
std::span<const FindingFormat> findingFormats();

/// The format of that name, or null.
const FindingFormat* findFindingFormat(std::string_view name);

#endif
