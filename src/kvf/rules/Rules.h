#ifndef VELOX_KVF_RULES_RULES_H
#define VELOX_KVF_RULES_RULES_H

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kvf/launch/Inspection.h"

enum class Severity {
  error,    ///< it does not do what it says
  warning,  ///< it may be meant so
};

/// What a rule has found.
struct Reported {
  Position at;
  std::string text;
  bool endsLaunch = false;   ///< the application would not run
  std::string message = {};  ///< the launcher's own at its end, where the text quotes it
};

/// Takes what the rule that is being checked finds.
class Report {
 public:
  explicit Report(std::function<void(Reported)> take) : take_(std::move(take)) {}

  /// A finding.
  void operator()(const Position& at, std::string text) const { take_({at, std::move(text)}); }
  /// A finding for which the launch ends before the application runs.
  void end(const Position& at, std::string text, std::string message = {}) const {
    take_({at, std::move(text), true, std::move(message)});
  }
  /// One or the other.
  void endIf(bool ends, const Position& at, std::string text) const {
    take_({at, std::move(text), ends});
  }

 private:
  std::function<void(Reported)> take_;
};

/// A rule, and what `kvf rules` says about it.
struct Rule {
  const char* id;
  Severity severity;
  const char* summary;      ///< one line
  const char* explanation;  ///< what the launcher makes of it
  const char* example;      ///< lines of a file, or a command line, that have the mistake
  const char* remedy;
  /// Reports every place where the rule is broken; null for a rule that compares several files or
  /// starts a JVM.
  void (*check)(const Inspection& inspection, const Report& report);
};

/// The rules by what they are about.
std::span<const Rule> fileRules();
std::span<const Rule> keyRules();
std::span<const Rule> includeRules();
std::span<const Rule> variableRules();
std::span<const Rule> javaRules();
std::span<const Rule> classPathRules();
std::span<const Rule> memoryRules();
std::span<const Rule> optionRules();
std::span<const Rule> classDataRules();
std::span<const Rule> launchRules();
std::span<const Rule> surroundingsRules();
std::span<const Rule> comparisonRules();

/// All of them, in that order.
std::vector<const Rule*> allRules();

/// The rule of that name, or null.
const Rule* findRule(std::string_view id);

const char* nameOf(Severity severity);

#endif
