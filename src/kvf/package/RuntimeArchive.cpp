#include "kvf/package/RuntimeArchive.h"

#include <filesystem>
#include <sstream>
#include <system_error>

#include "kvf/jvm/OptionVariables.h"
#include "kvf/process/ProgramRun.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds timeToMake(120);

/// Only this collector puts objects of the heap into the archive, and a JVM does not choose it on a
/// small machine. Not every JVM has it.
constexpr const char* collectors[] = {"-XX:+UseG1GC", "-XX:+UseSerialGC"};

std::string lastLine(const std::string& output) {
  std::istringstream lines(output);
  std::string last;
  for (std::string line; std::getline(lines, line);)
    if (!line.empty()) last = line;
  return last;
}

}  // namespace

RuntimeArchiveEnd completeClassData(const Jvm& runtime) {
  const fs::path archive = runtime.library.parent_path() / "classes.jsa";
  std::error_code error;
  if (fs::exists(archive, error)) return {};
  RuntimeArchiveEnd end = {RuntimeArchive::impossible, "it has no bin/java"};
  if (runtime.java.empty()) return end;
  for (const char* collector : collectors) {
    const ProgramEnd run = runProgram({
        .arguments = {runtime.java, "-Xshare:dump", "-Xmx128m", collector},
        // They are meant for starts in this environment, not for those of the folder elsewhere.
        .environment = {{optionvariables::ofJava, ""},
                        {optionvariables::first, ""},
                        {optionvariables::last, ""}},
        .directory = archive.parent_path(),
        .output = ProgramRun::Output::taken,
        .limit = timeToMake,
    });
    if (run.error == 0 && run.status == 0 && fs::exists(archive, error)) {
      constexpr auto readable = fs::perms::owner_read | fs::perms::owner_write |
                                fs::perms::group_read | fs::perms::others_read;
      fs::permissions(archive, readable, error);
      return {RuntimeArchive::made, {}};
    }
    fs::remove(archive, error);
    end.reason = run.error != 0 ? std::generic_category().message(run.error) : lastLine(run.output);
  }
  return end;
}
