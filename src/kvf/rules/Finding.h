#ifndef VELOX_KVF_RULES_FINDING_H
#define VELOX_KVF_RULES_FINDING_H

#include <string>
#include <utility>
#include <vector>

#include "kvf/launch/Inspection.h"

struct Rule;
enum class Severity;

/// Text to put in the place of a stretch of a file.
struct Edit {
  Position at;  ///< with columns; of the inspection that the finding is about
  std::string text;
};

/// A mistake, or what looks like one. Every format is made from this record.
struct Finding {
  const Rule* rule = nullptr;
  const Inspection* inspection = nullptr;  ///< where the place is; the finding does not own it
  Position at;  ///< with columns, unless it is an argument or a file as a whole
  std::string text;
  bool fatal = false;  ///< the launch ends before the application runs
  bool harmless =
      false;  ///< the application runs as asked for, unlike what the rule says in general
  std::string message = {};    ///< the launcher's own at its end, where it has one
  std::vector<Edit> fix = {};  ///< mends it without guessing; empty: that takes a decision

  /// The rule's; but a fatal finding is an error, and a harmless one a warning.
  [[nodiscard]] Severity severity() const;
  /// The file as a reader knows it; "command line".
  [[nodiscard]] std::string fileName() const;
  /// Counted from 1, also where the file as a whole is meant; of the command line the index of the
  /// argument.
  [[nodiscard]] std::size_t line() const;
};

/// Takes what one rule finds. The findings that it returns may be completed until the next one.
class Report {
 public:
  /// REQUIRES: all of them outlive the report.
  Report(const Rule& rule, const Inspection& inspection, std::vector<Finding>& findings)
      : rule_(&rule), inspection_(&inspection), findings_(&findings) {}

  Finding& operator()(const Position& position, std::string text);
  /// A finding for which the launch ends before the application runs.
  Finding& fatal(const Position& at, std::string text, std::string message = {});
  /// One that changes nothing of what the user asked for.
  Finding& harmless(const Position& at, std::string text);
  /// One or the other.
  Finding& fatalIf(bool fatal, const Position& at, std::string text);

  /// For a rule that compares several launches: what follows is about this one.
  void turnTo(const Inspection& inspection) { inspection_ = &inspection; }

 private:
  const Rule* rule_;
  const Inspection* inspection_;
  std::vector<Finding>* findings_;
};

#endif
