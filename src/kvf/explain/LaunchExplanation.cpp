#include "kvf/explain/LaunchExplanation.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "foundation/PropertyKeys.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

std::vector<ExplainedEnd> endsOf(const Inspection& inspection) {
  std::vector<ExplainedEnd> ends;
  for (const Finding& finding : fatalFindings(inspection)) {
    ends.push_back(
        {inspection.nameOf(finding.at), finding.text, finding.message, finding.rule->id});
  }
  return ends;
}

std::string originOfClassPath(const Inspection& inspection) {
  const char* key = inspection.plan.classPathKey;
  if (key == nullptr) return "from CLASSPATH, or the working directory";
  return concat({key, ", ", inspection.nameOf(inspection.positionOf(key))});
}

std::vector<ExplainedElement> elementsOf(const Inspection& inspection) {
  std::vector<ExplainedElement> elements;
  auto next = inspection.classPath->elements().begin();
  for (const ClassPathElement& element : inspection.plan.classPath) {
    ExplainedElement& explained = elements.emplace_back();
    explained.written = element.written;
    for (std::size_t i = 0; i < element.expanded.size(); ++i, ++next) {
      const bool isSearched = element.recursive && i == 0;
      explained.parts.push_back({next->path, whatItBrings(*next), isSearched});
    }
  }
  return elements;
}

/// An expanded class path ends with ":", and an empty one is the directory, except with a main
/// module.
bool endsWithDirectory(const Inspection& inspection) {
  const std::vector<std::string>& options = inspection.plan.options;
  if (!inspection.plan.classPath.empty())
    return !inspection.valueOf(keys::classPathExtended).empty();
  return std::none_of(options.begin(), options.end(), [](const std::string& option) {
    return option.starts_with("-Djdk.module.main=");
  });
}

std::optional<ExplainedJvm> jvmOf(const Inspection& inspection) {
  if (!inspection.isJava()) return std::nullopt;
  const std::string library = inspection.valueOf(keys::javaLibrary);
  return ExplainedJvm{
      library, inspection.nameOf(inspection.positionOf(keys::javaLibrary)),
      library.empty() ? std::nullopt : jvmOfLibrary(inspection.atApplication(library))};
}

}  // namespace

LaunchExplanation explainLaunch(const Inspection& inspection) {
  const LaunchPlan& plan = inspection.plan;
  LaunchExplanation launch;
  launch.ends = endsOf(inspection);
  launch.properties = explainProperties(inspection);
  launch.directory = plan.directory;
  launch.environment = plan.exported;
  launch.jvm = jvmOf(inspection);
  launch.arguments = plan.arguments;
  if (!inspection.classPath) return launch;
  launch.classPath = {originOfClassPath(inspection), elementsOf(inspection),
                      endsWithDirectory(inspection)};
  launch.options = plan.options;
  launch.command = {equivalentJavaCommand(inspection, shellWord),
                    equivalentJavaCommand(inspection, printableShellWord),
                    differencesOfJavaCommand(inspection)};
  return launch;
}

KeyExplanation explainOneKey(const Inspection& inspection, const std::string& key) {
  return {key, inspection.value(key.c_str()), explainKey(inspection, key),
          usersOf(inspection, key)};
}
