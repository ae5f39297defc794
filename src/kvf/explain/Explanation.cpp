#include "kvf/explain/Explanation.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

#include "foundation/PropertyKeys.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/jvm/JavaProgramOptions.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/jvm/OptionVariables.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/MainStack.h"
#include "kvf/text/Text.h"

namespace {

bool isPlain(const Entry& entry) {
  return !entry.isInclude && !entry.skipped;
}

bool isOfCommandLine(const Inspection& inspection, const std::string& key) {
  const bool fromLauncher = key == keys::kvfFile || key == keys::innerProcess;
  return !fromLauncher && inspection.run().line.options.contains(key.c_str());
}

Source originOf(const Inspection& inspection, const std::string& key, const std::string& value) {
  if (isOfCommandLine(inspection, key)) return {"command line", value};
  const Entry* entry = inspection.entryOf(key);
  if (entry == nullptr) return {"built in", value};
  return {inspection.nameOf(entry->at), value};
}

std::string javaProgram(const Inspection& inspection) {
  if (inspection.isJava()) {
    const std::string library = inspection.atApplication(inspection.valueOf(keys::javaLibrary));
    const std::optional<Jvm> jvm = jvmOfLibrary(library);
    if (jvm && !jvm->java.empty()) return jvm->java.string();
  }
  return inspection.plan.javaCommand;
}

/// True for a main of the start class itself that is not public.
bool hasHiddenMain(const Inspection& inspection) {
  if (!inspection.classPath || !inspection.classPath->startClass()) return false;
  const auto parsed = parseClassFile(inspection.classPath->startClass()->bytes);
  if (!parsed) return false;
  const ClassMethod* main = parsed->staticMethod("main", "([Ljava/lang/String;)V");
  return main != nullptr && !main->isPublic();
}

/// The places whose values refer to each key.
std::map<std::string, std::vector<std::string>> usersByKey(const Inspection& inspection) {
  std::map<std::string, std::vector<std::string>> users;
  for (const Entry& entry : inspection.run().entries) {
    std::set<std::string_view> names;
    for (const Reference& reference : entry.references) {
      const bool isEntry = reference.source == VariableSource::entries ||
                           reference.source == VariableSource::context;
      const bool isNew =
          isEntry && !reference.whileExporting && names.insert(reference.name).second;
      if (isNew) users[reference.name].push_back(inspection.nameOf(entry.at));
    }
  }
  return users;
}

}  // namespace

const Entry* definitionOf(const Inspection& inspection, const Entry& entry,
                          const Reference& reference) {
  if (reference.source == VariableSource::definition || reference.source == VariableSource::nothing)
    return nullptr;
  const bool isVariable = reference.source == VariableSource::environment;
  const Entry* latest = nullptr;
  for (const Entry& earlier : inspection.run().entries) {
    if (&earlier == &entry) break;
    const std::string_view name = isVariable ? earlier.variable() : earlier.key;
    if (name == reference.name && isPlain(earlier)) latest = &earlier;
  }
  return latest;
}

std::string placeOf(const Inspection& inspection, const Entry& entry, const Reference& reference) {
  switch (reference.source) {
    case VariableSource::definition:
      return "--propVar";
    case VariableSource::environment:
      return "environment";
    case VariableSource::nothing:
      return "nowhere";
    case VariableSource::entries:
    case VariableSource::context:
      break;
  }
  const Entry* definition = definitionOf(inspection, entry, reference);
  return definition == nullptr ? "built in" : inspection.nameOf(definition->at);
}

std::vector<ExplainedProperty> explainProperties(const Inspection& inspection) {
  const AssemblyRun& run = inspection.run();
  std::map<std::string, std::vector<const Entry*>> entries;
  for (const Entry& entry : run.entries) {
    if (isPlain(entry)) entries[entry.key].push_back(&entry);
  }

  std::map<std::string, std::vector<std::string>> users = usersByKey(inspection);
  std::vector<ExplainedProperty> properties;
  std::set<std::string> done;
  const auto add = [&](const std::string& key) {
    const auto value = inspection.value(key.c_str());
    if (!value || !done.insert(key).second) return;
    ExplainedProperty property = {key, originOf(inspection, key, *value), {}, users[key]};
    const Entry* used = inspection.entryOf(key);
    for (const Entry* entry : entries[key]) {
      if (entry == used) continue;
      property.overrode.push_back({inspection.nameOf(entry->at), entry->value});
    }
    properties.push_back(std::move(property));
  };
  for (const Entry& entry : run.entries) {
    if (inspection.entryOf(entry.key) == &entry) add(entry.key);
  }
  std::set<std::string> others;
  run.merged.forEach([&](const WString& key, const WString&) { others.insert(toString(key)); });
  for (const std::string& key : others) add(key);
  return properties;
}

std::vector<ExplainedEntry> explainKey(const Inspection& inspection, std::string_view key) {
  std::vector<ExplainedEntry> chain;
  const Entry* used = inspection.entryOf(key);
  for (const Entry& entry : inspection.run().entries) {
    if (entry.key != key) continue;
    ExplainedEntry explained;
    explained.source = {inspection.nameOf(entry.at), entry.value};
    explained.written = entry.written;
    explained.used = &entry == used || entry.isInclude;
    for (const Reference& reference : entry.references) {
      if (reference.whileExporting) continue;
      explained.references.push_back(
          {reference.name, reference.replacement, placeOf(inspection, entry, reference)});
    }
    chain.push_back(std::move(explained));
  }
  const std::string name(key);
  const auto value = inspection.value(name.c_str());
  if (used == nullptr && value) {
    chain.push_back({originOf(inspection, name, *value), *value, {}, true});
  }
  return chain;
}

std::vector<std::string> usersOf(const Inspection& inspection, const std::string& key) {
  const auto users = usersByKey(inspection);
  const auto found = users.find(key);
  return found == users.end() ? std::vector<std::string>() : found->second;
}

std::string whatItBrings(const ScannedElement& element) {
  switch (element.kind) {
    case ScannedElement::Kind::missing:
      return "nothing: it does not exist";
    case ScannedElement::Kind::folder:
      return "the classes in this folder";
    case ScannedElement::Kind::archive:
      break;
  }
  switch (element.state) {
    case ArchiveState::readable:
      return std::to_string(element.entries) + " entries";
    case ArchiveState::unreadable:
      return "nothing: it cannot be read";
    case ArchiveState::tooLarge:
      return "unknown: it claims to hold more than any sound archive";
    case ArchiveState::notAnArchive:
    case ArchiveState::notAFile:
    case ArchiveState::missing:
      break;
  }
  return "nothing: it is not an archive, or is damaged";
}

std::string equivalentJavaCommand(const Inspection& inspection, ShellWord word) {
  const LaunchPlan& plan = inspection.plan;
  std::string command;
  if (plan.directory != plan.outerDirectory) command += "cd " + word(plan.directory) + " && ";
  if (!plan.exported.empty()) {
    command += "env";
    for (const auto& [name, value] : plan.exported) {
      command += " " + word(concat({name, "=", value}));
    }
    command += " ";
  }
  command += word(javaProgram(inspection));
  // The launcher lets the JVM ignore what it does not know.
  const bool mayIgnore = inspection.runsInProcess() &&
                         std::any_of(plan.options.begin(), plan.options.end(), mayBeUnknown);
  if (mayIgnore) command += " -XX:+IgnoreUnrecognizedVMOptions";
  for (const std::string& option : plan.options) {
    // The launcher names its own process here, as a shell does with $$.
    const bool isProcessId = option.starts_with(processIdOption);
    command += isProcessId ? concat({" \"", processIdOption, "$$\""}) : " " + word(option);
  }
  command += " " + word(inspection.valueOf(keys::startClass));
  for (const std::string& argument : plan.arguments) command += " " + word(argument);
  return command;
}

std::vector<std::string> differencesOfJavaCommand(const Inspection& inspection) {
  std::vector<std::string> differences;
  const std::string startMethod = inspection.valueOf(keys::startMethod);
  if (inspection.runsInProcess() && !startMethod.empty() && startMethod != "main") {
    differences.push_back(concat({"java runs main, not ", startMethod}));
  }
  if (startMethod.empty() && hasHiddenMain(inspection)) {
    differences.emplace_back("java before 25 runs main only when it is public, which it is not");
  }
  for (const std::string& option : inspection.plan.options) {
    if (!isOfJavaProgram(option)) continue;
    differences.push_back(concat({"java takes ", option, " for itself, a JVM ignores it"}));
  }
  if (const auto stack = stackThatMainLacks(inspection)) {
    differences.push_back(concat({"java gives main the stack of ", stack->wanted.option,
                                  ", here it has ", std::to_string(stack->limit >> 10U), "k"}));
  }
  if (inspection.plan.exported.contains(optionvariables::ofJava) ||
      inspection.surroundings.environment.contains(optionvariables::ofJava)) {
    differences.push_back(concat({"java reads further options from ", optionvariables::ofJava}));
  }
  return differences;
}
