#ifndef VELOX_KVF_RULES_CHECK_H
#define VELOX_KVF_RULES_CHECK_H

#include <set>
#include <span>
#include <string>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/rules/Finding.h"

/// Holds every rule against each of the inspections, and against all of them together. Findings
/// come in the order of the inspections, then of the files, those of the command line first; a
/// place that several inspections read has each of its mistakes once. Those of the disabled rules
/// are left out, and those that a comment right above the line allows: "# kvf: allow RULE"; among a
/// file's first comments, for the file as a whole.
std::vector<Finding> check(std::span<const Inspection> inspections,
                           const std::set<std::string>& disabled);

/// Every reason why this launch would end before the application runs, in the order of the rules,
/// also those that comments allow.
std::vector<Finding> fatalFindings(const Inspection& inspection);

#endif
