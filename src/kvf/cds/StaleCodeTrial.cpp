#include "kvf/cds/StaleCodeTrial.h"

#include <chrono>
#include <cstdint>
#include <system_error>

#include "javarun/ClassPath.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/formats/ArchiveWriter.h"
#include "kvf/launch/JvmTrialRun.h"
#include "kvf/process/NewFile.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view className = "KvfTrial";
// It does not exist, so a class that extends it cannot be loaded.
constexpr std::string_view missingClass = "KvfTrialOfAnother";

void put(std::string& bytes, std::initializer_list<unsigned> numbers) {
  for (const unsigned number : numbers) {
    bytes += static_cast<char>(number >> 8U);
    bytes += static_cast<char>(number & 0xFFU);
  }
}

void putName(std::string& bytes, std::string_view name) {
  bytes += '\1';
  put(bytes, {static_cast<unsigned>(name.size())});
  bytes += name;
}

/// A class without members; only what it extends tells it from another.
std::string classFile(std::string_view superName) {
  constexpr unsigned java8 = 52;
  constexpr unsigned publicClass = 0x21;
  std::string bytes = "\xCA\xFE\xBA\xBE";
  put(bytes, {0, java8, 5});
  bytes += '\7';
  put(bytes, {2});
  putName(bytes, className);
  bytes += '\7';
  put(bytes, {4});
  putName(bytes, superName);
  put(bytes, {publicClass, 1, 3, 0, 0, 0, 0});
  return bytes;
}

/// The times differ like those of two packages; JVMs compare whole seconds.
void writeJar(const fs::path& jar, std::string_view superName, std::chrono::hours age) {
  ArchiveWriter archive;
  static_cast<void>(archive.add(concat({className, ".class"}), classFile(superName)));
  writeNewFile(jar, std::move(archive).finish(), 0644);
  std::error_code error;
  fs::last_write_time(jar, fs::file_time_type::clock::now() - age, error);
}

/// Removes what a trial has made, however it ends: a trial of another kind uses the same names.
class TrialFiles {
 public:
  explicit TrialFiles(const fs::path& folder)
      : jar(folder / "trial.jar"), archive{folder / "trial.record", folder / "trial.archive"} {}
  TrialFiles(const TrialFiles&) = delete;
  TrialFiles& operator=(const TrialFiles&) = delete;
  ~TrialFiles() {
    // By pointers: a copy takes memory, which may be what ran out.
    for (const fs::path* file : {&jar, &archive.record, &archive.archive}) {
      std::error_code error;
      fs::remove(*file, error);
    }
  }

  const fs::path jar;
  const ArchiveFiles archive;
};

}  // namespace

StaleCodeTrial tryReplacedJar(const ArchiveKind& kind, const Jvm& jvm,
                              const fs::path& scratchFolder) {
  const TrialFiles made(scratchFolder);
  const auto& [jar, files] = made;
  ClassDataLaunch launch;
  launch.jvm = jvm;
  launch.startClass = className;
  launch.directory = scratchFolder;
  launch.options = {concat({classPathOption, jar.native()})};
  launch.classPath = {jar};
  writeJar(jar, "java/lang/Object", std::chrono::hours(1));

  std::string complaint = recordInProcess(kind, launch, files);
  if (complaint.empty()) complaint = makeArchive(kind, launch, files, scratchFolder);
  if (complaint.empty()) {
    const ClassDataAcceptance acceptance = acceptanceOf(kind, files.archive, launch, scratchFolder);
    if (!acceptance.accepted) complaint = acceptance.complaint;
  }
  if (!complaint.empty())
    return {false, concat({"this JVM makes no ", kind.title, " that it uses: ", complaint})};

  fs::remove(jar);
  writeJar(jar, missingClass, std::chrono::hours(2));
  JvmRun run;
  run.library = jvm.library;
  run.startClass = launch.startClass;
  run.directory = launch.directory;
  run.options = launch.options;
  for (const std::string& option : useOptions(kind, files.archive)) run.options.push_back(option);
  const JvmRunEnd end = runJvm(run);
  if (!end.started)
    return {false,
            concat({"this JVM does not start when a jar of an ", kind.title, " has changed"})};
  if (end.classFailure.find(missingClass) == std::string::npos) {
    return {false, concat({"this JVM runs old code from an ", kind.title,
                           " after a jar has been replaced"})};
  }
  return {true, {}};
}
