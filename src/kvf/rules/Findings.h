#ifndef VELOX_KVF_RULES_FINDINGS_H
#define VELOX_KVF_RULES_FINDINGS_H

#include <set>
#include <string>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/rules/Rules.h"

/// A mistake, or what looks like one.
struct Finding {
  const Rule* rule;
  std::string file;      ///< or "command line"
  std::size_t line = 1;  ///< or the number of the argument
  std::string text;
};

/// Why a launch would end before the application runs.
struct Ending {
  const Rule* rule;
  Position at;
  std::string message;  ///< the launcher's own; empty: the rule tells it in words of its own
  std::string text;
};

/// Every reason why this launch would end early, in the order of the rules. What comments allow
/// counts too: it is a fact.
std::vector<Ending> endingsOf(const Inspection& inspection);

/// Holds every rule against the inspection. Findings come in the order of the files, those of the
/// command line first. Those of the disabled rules are left out, and those that a comment right
/// above the line allows: "# kvf: allow RULE"; among a file's first comments, for the file as a
/// whole.
std::vector<Finding> check(const Inspection& inspection, const std::set<std::string>& disabled);

/// What only a comparison of several checked files can tell; `disabled` as above.
std::vector<Finding> compare(const std::vector<Inspection>& inspections,
                             const std::set<std::string>& disabled);

#endif
