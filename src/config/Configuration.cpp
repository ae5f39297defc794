#include "config/Configuration.h"

#include <utility>

#include "config/Commands.h"
#include "config/ProcessIdFile.h"
#include "config/PropertiesAdjustment.h"
#include "config/PropertiesFile.h"
#include "config/PropertiesLocation.h"
#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

bool g_isJavaWrapper = false;

namespace {

constexpr char globalFileName[] = "global.kvf";

/// Records this process for the kill command, which itself must not overwrite the record. The
/// outer run of a re-executed launch has already written the same ID.
void recordProcess(const CommandLine& line, const SimpleProperties& merged) {
  WString fileName;
  if (line.innerProcess || commandIn(line.options).state == WrapperState::kill) return;
  if (merged.get(keys::processIdFile, fileName)) writeProcessIdFile(fileName.c_str());
}

void overlay(const SimpleProperties& options, SimpleProperties& fileSet) {
  options.forEach([&](const WString& key, const WString& value) { fileSet.set(key, value); });
}

}  // namespace

SimpleProperties ParseCommandLine(int argc, char** argv) {
  CommandLine line = scanCommandLine(argc, argv);
  applyCommandLine(line);
  PropertiesLocation location = locatePropertiesFile(line.options, argv[0]);
  Logging::Debug({"Properties file used is : ", location.name.view()});
  Logging::Debug({"Properties file full path is : ", location.fullPath.view()});
  Logging::FlushFiles();

  if (line.adjustmentChild) {
    Logging::Debug("Adjustment child process --adjust...");
  } else if (isAdjustable(line.options)) {
    runAdjustmentChild(argc, argv, location);
  }

  SimpleProperties merged = assembleProperties(line, location);
  UpdateProcessType(merged);
  if (line.adjustmentChild) configureAdjuster(location.fullPath, merged);
  recordProcess(line, merged);
  return merged;
}

SimpleProperties assembleProperties(CommandLine& line, const PropertiesLocation& location,
                                    AssemblyObserver& observer) {
  const SimpleProperties context;
  SimpleProperties fileSet = ParsePropertiesFile(
      location.name.c_str(), line.options, line.variables, context, line.innerProcess, observer);
  HandleGlobalKVFFile(fileSet, line.innerProcess, observer);
  line.options.set(keys::kvfFile, location.fullPath);
  return MergeProperties(line.options, std::move(fileSet));
}

void HandleGlobalKVFFile(SimpleProperties& fileSet, bool innerProcess, AssemblyObserver& observer) {
  WString name = globalFileName;
  const bool inWorkingDirectory = sii_fileExists(sii_GetCurrentDirectory(), globalFileName) != 0;
  if (!inWorkingDirectory && !SearchPropFileInPATH(name)) return;
  if (!observer.globalFileFound(name)) return;

  const SimpleProperties none;
  ParsePropertiesFile(name.c_str(), none, none, fileSet, innerProcess, observer)
      .forEach([&](const WString& key, const WString& value) {
        const bool taken = fileSet.valueOf(key).empty();
        observer.globalEntryMerged(key, taken);
        if (taken) fileSet.set(key, value);
      });
}

SimpleProperties MergeProperties(const SimpleProperties& options, SimpleProperties& fileSet) {
  overlay(options, fileSet);
  return fileSet;
}

SimpleProperties MergeProperties(const SimpleProperties& options, SimpleProperties&& fileSet) {
  overlay(options, fileSet);
  return fileSet.moveAsCopy();
}

bool exportsEnvironment(const SimpleProperties& merged) {
  const auto entries = merged.newEnumerator();
  for (WString key, value; entries->next(key, value);) {
    if (key.startsWith(keys::environmentPrefix)) return true;
  }
  return false;
}

bool hostsJvm(const Properties& merged) {
  return merged.contains(keys::javaLibrary);
}

void UpdateProcessType(const SimpleProperties& merged) {
  if (hostsJvm(merged)) g_isJavaWrapper = true;
}

void enterStartDirectory(const Properties& merged) {
  WString directory;
  if (merged.get(keys::startDirectory, directory)) sii_ChangeDirectory(directory.c_str());
}
