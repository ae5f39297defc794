#ifndef VELOX_KVF_COMMANDS_REPORT_H
#define VELOX_KVF_COMMANDS_REPORT_H

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "kvf/rules/Findings.h"

/// The version of everything that --json prints. Within one, fields are only added.
inline constexpr int jsonSchema = 1;

/// True when standard output is a terminal and NO_COLOR is not set.
bool wantsColour();

/// "FILE:LINE: error: TEXT [rule]", a line each.
std::string asText(const std::vector<Finding>& findings, bool colour);

/// {"schema": 1, "findings": [{"file", "line", "severity", "rule", "text"}]}; the file
/// "command line" stands for the command line, with the number of the argument as its line.
nlohmann::ordered_json asJson(const std::vector<Finding>& findings);

/// The document as text; bytes that are no UTF-8 become U+FFFD.
std::string dump(const nlohmann::ordered_json& document);

#endif
