#include <optional>
#include <string>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "kvf/formats/ElfFile.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

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

/// Which libjvm.so the loader would take when the one of java.library does not exist; empty:
/// probably none.
std::string fallbackLibrary(const Inspection& inspection) {
  const auto exported = inspection.plan.exported.find("LD_LIBRARY_PATH");
  std::string path = inspection.surroundings.variable("LD_LIBRARY_PATH");
  if (exported != inspection.plan.exported.end()) path = exported->second;
  for (const std::string_view element : pathElements(path)) {
    std::string library = concat({element, "/libjvm.so"});
    if (exists(library)) return library;
  }
  return {};
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
  const std::string path = inspection.atApplication(*configured);
  if (!exists(path)) {
    const std::string fallback = fallbackLibrary(inspection);
    report.fatalIf(
        fallback.empty(), at,
        concat({"there is no ", shown(*configured),
                "; the launcher then loads whichever libjvm.so the loader finds, ",
                fallback.empty() ? "none along LD_LIBRARY_PATH here, so that the launch probably "
                                   "ends with status 255"
                                 : "here " + fallback,
                ": ", suggestionFor(path)}));
    return;
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
         "not an error for the launcher: it loads whichever libjvm.so the loader finds.",
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
