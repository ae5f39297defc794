#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "kvf/formats/ElfFile.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view lineAdvice = "`kvf jvm --line` prints the line for this machine";

bool exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

void noLibrary(const Inspection& inspection, Report& report) {
  if (!inspection.knowsAllKeys() || !inspection.runsInProcess() || inspection.isJava()) return;
  if (!inspection.valueOf(keys::applicationLibrary).empty()) return;
  report.fatal(
      inspection.mainFile(),
      concat({"there is neither java.library nor application.library, so that the launcher has ",
              "nothing to run and ends with status 255: ", lineAdvice}));
}

constexpr const char* loaderCache = "/etc/ld.so.cache";

/// The folders in which the loader looks for libraries by itself.
std::vector<fs::path> loaderFolders() {
  std::vector<fs::path> folders = {"/lib", "/usr/lib", "/lib64", "/usr/lib64", "/usr/local/lib"};
  // Debian has one more for each kind of machine: x86_64-linux-gnu.
  for (const char* folder : {"/lib", "/usr/lib"}) {
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error))
      if (entries->path().filename().native().find("-linux-") != std::string::npos)
        folders.push_back(entries->path());
  }
  return folders;
}

/// Where the loader finds a library of that name, which has no slash: its file, or the loader's
/// cache if that has the name, or cannot be looked at. Empty: nowhere.
std::string loadedLibrary(const Inspection& inspection, const std::string& name) {
  const auto exported = inspection.plan.exported.find("LD_LIBRARY_PATH");
  std::string path = inspection.surroundings.variable("LD_LIBRARY_PATH");
  if (exported != inspection.plan.exported.end()) path = exported->second;
  // An empty element is the working directory.
  if (!path.empty() && concat({":", path, ":"}).find("::") != std::string::npos) path += ":.";
  for (const std::string_view element : pathElements(path)) {
    std::string library = inspection.atApplication(concat({element, "/", name}));
    if (exists(library)) return library;
  }
  for (const fs::path& folder : loaderFolders())
    if (exists(folder / name)) return folder / name;
  if (!exists(loaderCache)) return {};
  const std::string cache = textOfFile(loaderCache);
  const bool mayHaveIt = cache.empty() || cache.find(name + '\0') != std::string::npos;
  return mayHaveIt ? loaderCache : "";
}

/// How to name the JVM that a folder or a program belongs to, if it does.
std::string suggestionFor(const std::string& path) {
  const auto jvm = jvmAround(path);
  return jvm ? concat({"write java.library=", jvm->library.native()}) : std::string(lineAdvice);
}

/// Why the file is no JVM of this machine; empty: it is one.
std::string complaintAboutJvm(const std::string& path, const std::optional<ElfFile>& elf) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return "is a folder";
  if (::access(path.c_str(), R_OK) != 0) return "cannot be read";
  if (!elf) return "is not a shared library";
  if (!elf->sameArchitecture(ownElfFile())) {
    return concat({"is for ", machineName(elf->machine), " with ", std::to_string(elf->bits),
                   " bits, not for ", machineName(ownElfFile().machine)});
  }
  if (elf->kind == ElfFile::Kind::program) return "is a program, not a library";
  if (elf->exports && !elf->exportsName("JNI_CreateJavaVM")) {
    return "is not a JVM: it lacks JNI_CreateJavaVM";
  }
  return elf->kind == ElfFile::Kind::sharedLibrary ? "" : "is not a shared library";
}

void jvmLibrary(const Inspection& inspection, Report& report) {
  const auto configured = inspection.value(keys::javaLibrary);
  if (!configured || configured->empty() || !inspection.runsInProcess()) return;
  const Position at = inspection.positionOf(keys::javaLibrary);
  std::string path = inspection.atApplication(*configured);
  if (!exists(path)) {
    const std::string fallback = loadedLibrary(inspection, "libjvm.so");
    report.fatalIf(fallback.empty(), at,
                   concat({"there is no ", shown(*configured),
                           "; the launcher then loads whichever libjvm.so the loader finds, ",
                           fallback.empty() ? "none here, so that the launch ends with status 255"
                                            : "here " + fallback,
                           ": ", suggestionFor(path)}));
    return;
  }
  if (configured->find('/') == std::string::npos) {
    const std::string loaded = loadedLibrary(inspection, *configured);
    if (loaded.empty()) {
      report.fatal(at, concat({"the loader looks for a name without a slash, ", shown(*configured),
                               ", along LD_LIBRARY_PATH and in the system's folders, not in the ",
                               "working directory, and the launch ends with status 255: ",
                               suggestionFor(path)}));
      return;
    }
    if (loaded == loaderCache) return;
    path = loaded;
  }
  const std::string complaint = complaintAboutJvm(path, readElfFile(path));
  if (complaint.empty()) return;
  report.fatal(at, concat({shown(*configured), " ", complaint,
                           ", and the launch ends with status 255: ", suggestionFor(path)}));
}

void javaProgram(const Inspection& inspection, Report& report) {
  if (inspection.command() != switches::cmdlineJava) return;
  if (!javaProgramOf(inspection).empty()) return;
  report.fatal(inspection.positionOf(keys::javaPath),
               concat({"there is no program ", shown(inspection.plan.javaCommand),
                       " for --cmdlineJava; the launch ends ",
                       "with \"Failed to exec\" and status 0: set java.path, or JAVA_HOME"}));
}

constexpr Rule rules[] = {
    {.id = "no-library",
     .severity = Severity::error,
     .summary = "neither java.library nor application.library",
     .explanation = "The launcher has nothing to run. Only a host program that links the launcher "
                    "can do without both.",
     .example = {.lines =
                     "velox.class.path.extended=%kvf.file.dir%/lib\njava.start.class=com.acme.Main",
                 .whole = true},
     .remedy = {.lines = "java.library=%JAVA_HOME%/lib/server/"
                         "libjvm.so\nvelox.class.path.extended=%kvf.file.dir%/"
                         "lib\njava.start.class=com.acme.Main",
                .whole = true},
     .check = noLibrary},
    {.id = "jvm-library",
     .severity = Severity::error,
     .summary = "java.library is not a JVM that can be loaded",
     .explanation =
         "It has to be the path of libjvm.so, for this machine's architecture. A missing file is "
         "not an error for the launcher: it loads whichever libjvm.so the loader finds. For a name "
         "without a slash the loader does not look in the working directory.",
     .example = {.lines = "java.library=%JAVA_HOME%/bin/java"},
     .remedy = {.lines = "java.library=%JAVA_HOME%/lib/server/libjvm.so"},
     .check = jvmLibrary},
    {.id = "java-program",
     .severity = Severity::error,
     .summary = "no program java for --cmdlineJava",
     .explanation =
         "It is java.path, else bin/java in JAVA_HOME, else java along PATH. When it cannot be "
         "executed, the launch ends with status 0, which a service manager takes as success.",
     .example = {.lines = "java.path=/opt/gone/bin/java",
                 .command = "kvf check -- wrapper --propFile acme.kvf --cmdlineJava"},
     .remedy = {.lines = "java.path=%JAVA_HOME%/bin/java",
                .command = "kvf check -- wrapper --propFile acme.kvf --cmdlineJava"},
     .check = javaProgram},
};

}  // namespace

std::span<const Rule> javaRules() {
  return rules;
}
