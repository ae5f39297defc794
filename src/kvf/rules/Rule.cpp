#include "kvf/rules/Rule.h"

#include <algorithm>

std::vector<const Rule*> allRules() {
  std::vector<const Rule*> rules;
  for (const std::span<const Rule> group :
       {fileRules(),          escapeRules(),      keyRules(),           includeRules(),
        variableRules(),      sourceRules(),      shellRules(),         javaRules(),
        startClassRules(),    moduleRules(),      nativeLibraryRules(), classPathRules(),
        memoryRules(),        optionRules(),      optionFormRules(),    optionPathRules(),
        optionReleaseRules(), optionValueRules(), jvmRules(),           agentRules(),
        classDataRules(),     launchRules(),      surroundingsRules(),  adjusterRules(),
        secretRules(),        memoryTotalRules(), habitRules(),         unitRules(),
        unitAccessRules(),    unitStopRules()}) {
    for (const Rule& rule : group) rules.push_back(&rule);
  }
  return rules;
}

const Rule* findRule(std::string_view id) {
  const std::vector<const Rule*> rules = allRules();
  const auto found =
      std::find_if(rules.begin(), rules.end(), [&](const Rule* rule) { return id == rule->id; });
  return found == rules.end() ? nullptr : *found;
}

const char* nameOf(Severity severity) {
  return severity == Severity::error ? "error" : "warning";
}

Severity Finding::severity() const {
  if (fatal) return Severity::error;
  return harmless ? Severity::warning : rule->severity;
}
