#include "kvf/launch/Inspector.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "config/Configuration.h"
#include "config/PropertiesAdjustment.h"
#include "config/PropertiesFile.h"
#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "javarun/ArgumentSplitter.h"
#include "javarun/ClassPath.h"
#include "javarun/JavaCmdLineRunUtil.h"
#include "javarun/JavaParameterParser.h"
#include "kvf/launch/AssemblyRecorder.h"
#include "kvf/process/ExecArguments.h"
#include "kvf/text/Text.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

namespace {

namespace fs = std::filesystem;

/// Restores the environment, on leaving the scope at the latest.
class EnvironmentGuard {
 public:
  EnvironmentGuard() {
    for (char** entry = ::environ; *entry != nullptr; ++entry) entries_.push_back(*entry);
    entries_.push_back(nullptr);
  }
  EnvironmentGuard(const EnvironmentGuard&) = delete;
  EnvironmentGuard& operator=(const EnvironmentGuard&) = delete;
  ~EnvironmentGuard() { restore(); }

  void restore() const {
    // An export replaces the pointer to an entry, never its text. putenv() would look at all of
    // them once more for each.
    static std::vector<char*> current;
    current = entries_;
    ::environ = current.data();
  }

 private:
  std::vector<char*> entries_;  ///< with the null pointer at their end
};

/// The working directory as it was, on leaving the scope.
class DirectoryGuard {
 public:
  DirectoryGuard() : descriptor_(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}
  DirectoryGuard(const DirectoryGuard&) = delete;
  DirectoryGuard& operator=(const DirectoryGuard&) = delete;
  ~DirectoryGuard() {
    if (descriptor_ < 0) return;
    static_cast<void>(::fchdir(descriptor_) == 0);
    ::close(descriptor_);
  }

 private:
  int descriptor_;
};

/// The environment of other surroundings, for as long as this lives, and their directory; / stands
/// in for one that is not there.
class EntryTexts {
 public:
  void enter(const LaunchSurroundings& surroundings) {
    for (const auto& [name, value] : surroundings.environment)
      texts_.push_back(concat({name, "=", value}));
    ::clearenv();
    for (std::string& text : texts_) ::putenv(text.data());
    const bool entered = ::chdir(surroundings.directory.c_str()) == 0 || ::chdir("/") == 0;
    static_cast<void>(entered);
  }

 private:
  std::vector<std::string> texts_;
};

/// Why the launcher's log would end the process.
struct LaunchEnds {
  std::string message;
};

class ThrowingSink : public Logging::Sink {
 public:
  ThrowingSink() { Logging::SetSink(this); }
  ThrowingSink(const ThrowingSink&) = delete;
  ThrowingSink& operator=(const ThrowingSink&) = delete;
  ~ThrowingSink() override { Logging::SetSink(nullptr); }

  void message(Logging::Pieces /*pieces*/) override {}
  [[noreturn]] void fatal(Logging::Pieces pieces) override { throw LaunchEnds{concat(pieces)}; }
};

void resetLauncherState() {
  gProps = SimpleProperties();
  g_isJavaWrapper = false;
  CommonConfig::initConfig(SimpleProperties());
}

/// The texts, and which of them are values of the switch before.
void completeArguments(const std::vector<std::string>& commandLine, AssemblyRun& run) {
  run.arguments.resize(commandLine.size());
  for (std::size_t i = 0; i < commandLine.size(); ++i) {
    run.arguments[i].text = commandLine[i];
    run.arguments[i].isValue = i > 0 && run.arguments[i - 1].valueConsumed;
  }
}

/// Enough for a file with many mistakes; each costs one more assembly.
constexpr std::size_t maxFailures = 20;
/// Each leaves much text in memory, where an exported variable stays.
constexpr std::size_t maxExpansions = 3;

/// Assembles, again and again until nothing ends it any more.
void assemble(const CommandLine& line, const EnvironmentGuard& environment, SourceTexts& sources,
              AssemblyRun& run) {
  const AssemblyRun start = run;
  SkippedEntries skip;
  std::vector<Failure> failures;
  std::size_t expansions = 0;
  for (bool goesOn = true; goesOn;) {
    environment.restore();
    resetLauncherState();
    run = start;
    run.line = line;
    AssemblyRecorder recorder(skip, sources, run);
    const std::size_t before = failures.size();
    try {
      run.merged = assembleProperties(run.line, run.location, recorder);
    } catch (const LaunchEnds& end) {
      failures.push_back(recorder.failure(end.message));
    } catch (const TooMuchText&) {
      failures.push_back(recorder.expansionFailure());
      ++expansions;
    }
    run.incomplete = failures.size() > before;
    goesOn = run.incomplete && failures.size() < maxFailures && expansions < maxExpansions &&
             recorder.skipLatest(skip);
  }
  run.failures = std::move(failures);
}

/// The first limit that is out of range ends the launch; none counts then.
void readLimits(AssemblyRun& run, const Inspection& inspection) {
  for (const ArchiveLimit& limit : archiveLimits) {
    if (limit.in(run.merged)) continue;
    run.failures.push_back(
        {Failure::Stage::limits, inspection.positionOf(limit.key), limit.fatalText});
    return;
  }
  CommonConfig::initConfig(run.merged);
}

std::vector<std::string> toStrings(const std::vector<WString>& texts) {
  std::vector<std::string> strings;
  strings.reserve(texts.size());
  for (const WString& text : texts) strings.push_back(toString(text));
  return strings;
}

std::string workingDirectory() {
  return sii_GetCurrentDirectory();
}

void enterApplicationDirectory(const Inspection& inspection) {
  enterStartDirectory(inspection.run().merged);
  // The host of a Java application enters it once more.
  if (inspection.isJava() && inspection.command() == switches::run) {
    enterStartDirectory(inspection.run().merged);
  }
}

std::vector<std::string> elementsOf(std::string_view list) {
  const std::vector<std::string_view> elements = piecesOf(list, ":");
  return {elements.begin(), elements.end()};
}

std::vector<ClassPathElement> searchedClassPath(const std::string& written) {
  std::vector<ClassPathElement> elements;
  for (const std::string_view element : pathElements(written)) {
    const std::vector<ClassPathEntry> entries = expandedClassPath(element);
    // "/" alone is none.
    const ClassPathEntry entry =
        entries.empty() ? ClassPathEntry{.path = {}, .isSearched = true} : entries.front();
    // A JVM splits the text once more.
    elements.push_back(
        {std::string(element), entry.isSearched, elementsOf(toString(joinedClassPath(entries))),
         toString(entry.isSearched ? entry.directory : entry.path), entry.isRecursive});
  }
  return elements;
}

void planClassPath(const Inspection& inspection, LaunchPlan& plan) {
  if (const auto extended = inspection.value(keys::classPathExtended)) {
    plan.classPathKey = keys::classPathExtended;
    plan.classPath = searchedClassPath(*extended);
    return;
  }
  if (inspection.value(keys::classPath)) plan.classPathKey = keys::classPath;
  const ClassPath classPath = ClassPath::of(inspection.run().merged);
  for (const std::string& element : elementsOf(toString(classPath.text))) {
    plan.classPath.push_back({element, false, {element}, element});
  }
}

/// True when a JVM takes an element of its class path for the working directory.
bool hasEmptyElement(const LaunchPlan& plan) {
  const auto given =
      std::find_if(plan.options.rbegin(), plan.options.rend(),
                   [](const std::string& option) { return option.starts_with(classPathOption); });
  if (given == plan.options.rend()) return false;
  const std::string_view classPath = std::string_view(*given).substr(classPathOption.size());
  // With a main module an empty class path has no element at all.
  const bool hasMainModule = std::any_of(
      plan.options.begin(), plan.options.end(),
      [](const std::string& option) { return option.starts_with("-Djdk.module.main="); });
  if (classPath.empty()) return !hasMainModule;
  return concat({":", classPath, ":"}).find("::") != std::string::npos;
}

LaunchWay launchWay(const Inspection& inspection) {
  const std::string command = inspection.command();
  if (command == switches::cmdlineJava || command == switches::generateScript) {
    return LaunchWay::externalJava;
  }
  return inspection.isJava() ? LaunchWay::hostedJava : LaunchWay::nativeLibrary;
}

void planAdjuster(Inspection& inspection) {
  const std::string classPath = inspection.valueOf(keys::adjusterClassPath);
  const bool isAsked = !classPath.empty() && isAdjustable(inspection.run().line.options);
  if (!isAsked || !inspection.isJava()) return;
  inspection.adjuster.emplace(searchedClassPath(classPath), inspection.plan.directory,
                              adjusterClass);
}

void planLaunch(Inspection& inspection) {
  LaunchPlan& plan = inspection.plan;
  for (const Entry& entry : inspection.outer.entries) {
    if (!entry.exported) continue;
    plan.exported[entry.key.substr(std::string_view(keys::environmentPrefix).size())] =
        *entry.exported;
  }
  const char* path = std::getenv("PATH");
  plan.path = path == nullptr ? "" : path;
  const std::string outer = workingDirectory();
  plan.outerDirectory = inspection.surroundings.directory;
  enterApplicationDirectory(inspection);
  plan.directory = workingDirectory();
  if (plan.directory == outer) plan.directory = plan.outerDirectory;

  const SimpleProperties& merged = inspection.run().merged;
  const javaparser::JavaParameterParser parser(merged);
  planClassPath(inspection, plan);
  // The host of a Java application has a copy, which is in another order.
  const SimpleProperties copy = merged;
  const bool isHosted = launchWay(inspection) == LaunchWay::hostedJava;
  plan.options = toStrings(
      javaparser::getAllJavaRunOption(isHosted ? javaparser::JavaParameterParser(copy) : parser));
  for (std::string& option : plan.options) {
    if (option.starts_with(processIdOption)) option = concat({processIdOption, "PID"});
  }
  plan.arguments = toStrings(applicationArguments(merged, launchWay(inspection)));
  plan.javaCommand = toString(getJavaCmd(parser, false));
  if (launchWay(inspection) != LaunchWay::nativeLibrary) {
    inspection.classPath.emplace(plan.classPath, plan.directory,
                                 inspection.valueOf(keys::startClass), hasEmptyElement(plan));
    if (ModulePath::isSpokenOf(plan.options))
      inspection.modulePath.emplace(plan.options, plan.directory);
  }
  planAdjuster(inspection);
}

bool startsItselfAgain(const AssemblyRun& run) {
  return !run.line.innerProcess && run.merged.valueOf(keys::applicationLibrary).empty() &&
         exportsEnvironment(run.merged);
}

/// Positions in one are positions in the other.
bool readsSameFiles(const AssemblyRun& left, const AssemblyRun& right) {
  return std::equal(left.files.begin(), left.files.end(), right.files.begin(), right.files.end(),
                    [](const SourceFile& a, const SourceFile& b) { return a.name == b.name; });
}

}  // namespace

Inspection inspectCommandLine(const std::vector<std::string>& commandLine, const GivenTexts& given,
                              const LaunchSurroundings* surroundings) {
  const ThrowingSink sink;
  EntryTexts entries;
  const EnvironmentGuard own;
  const DirectoryGuard directory;

  Inspection inspection;
  inspection.surroundings = surroundings == nullptr ? LaunchSurroundings::here() : *surroundings;
  if (surroundings != nullptr) entries.enter(*surroundings);
  const EnvironmentGuard environment;
  inspection.commandLine = commandLine;
  AssemblyRun& outer = inspection.outer;
  SourceTexts sources(given);
  const SkippedEntries none;
  AssemblyRecorder arguments(none, sources, outer);
  std::vector<std::string> texts = commandLine;
  std::vector<char*> vector = nullTerminated(texts);
  CommandLine line =
      scanCommandLine(static_cast<int>(commandLine.size()), vector.data(), arguments);
  completeArguments(commandLine, outer);
  outer.location = locatePropertiesFile(line.options, vector[0]);
  assemble(line, environment, sources, outer);
  // What follows sees the exported variables.
  const EnvironmentGuard exported;
  if (startsItselfAgain(outer)) {
    AssemblyRun& inner = inspection.inner.emplace();
    inner.location = outer.location;
    line.innerProcess = true;
    line.options.set(keys::innerProcess, "true");
    assemble(line, exported, sources, inner);
    if (!outer.failures.empty() && !readsSameFiles(outer, inner)) inspection.inner.reset();
  }
  readLimits(outer, inspection);
  planLaunch(inspection);
  resetLauncherState();
  return inspection;
}

Inspection inspectFile(const std::string& file, const std::vector<std::string>& arguments,
                       const GivenTexts& given) {
  const fs::path name = file;
  const fs::path absolute = fs::absolute(name);
  std::vector<std::string> commandLine = {"wrapper", switches::propFile, absolute.string()};
  commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());
  Inspection inspection = inspectCommandLine(commandLine, given);
  inspection.shownFolder = name.parent_path().string();
  inspection.absoluteFolder = absolute.parent_path().string();
  return inspection;
}
