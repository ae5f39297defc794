#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "config/Commands.h"
#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "hosting/CppProcess.h"
#include "hosting/StopSignals.h"
#include "javarun/ClassPath.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/formats/ElfFile.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view lineAdvice = "`kvf jvm --line` prints the line for this machine";

/// Also by a script.
bool startsJava(const Inspection& inspection) {
  return inspection.startsJvm() || inspection.command() == switches::generateScript;
}

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

/// Which libjvm.so the loader would take when java.library leads nowhere; empty: probably none.
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

/// The library of the JVM that a folder or a program belongs to; empty: none.
std::string libraryNear(const fs::path& path) {
  std::error_code error;
  const fs::path real = fs::weakly_canonical(path, error);
  for (fs::path folder = error ? path : real; folder.has_relative_path();
       folder = folder.parent_path()) {
    if (const auto jvm = jvmAt(folder)) return jvm->library.string();
  }
  return {};
}

std::string suggestion(const std::string& library) {
  if (library.empty()) return std::string(lineAdvice);
  return concat({"write java.library=", library});
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
                "; the launcher then loads whatever libjvm.so the loader finds, ",
                fallback.empty() ? "none along LD_LIBRARY_PATH here, so that the launch probably "
                                   "ends with status 255"
                                 : "here " + fallback,
                ": ", suggestion(libraryNear(path))}));
    return;
  }
  const std::string complaint = complaintAboutJvm(path, readElfFile(path));
  if (complaint.empty()) return;
  report.fatal(at,
               concat({shown(*configured), " ", complaint,
                       ", and the launch ends with status 255: ", suggestion(libraryNear(path))}));
}

/// What becomes of a launch whose start class is not usable.
std::string endOf(const Inspection& inspection) {
  return inspection.runsInProcess() ? "the launch ends with status 255"
                                    : "java ends with a message of its own";
}

/// True when the application's launch would find the program.
bool isProgramThere(const Inspection& inspection, const std::string& program) {
  const auto isProgram = [&](const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
  };
  if (program.find('/') != std::string::npos) return isProgram(inspection.atApplication(program));
  const std::vector<std::string_view> folders = pathElements(inspection.plan.path);
  return std::any_of(folders.begin(), folders.end(), [&](std::string_view folder) {
    return isProgram(inspection.atApplication(concat({folder, "/", program})));
  });
}

void javaProgram(const Inspection& inspection, Report& report) {
  if (inspection.command() != switches::cmdlineJava) return;
  const std::string& program = inspection.plan.javaCommand;
  if (isProgramThere(inspection, program)) return;
  report.fatal(
      inspection.positionOf(keys::javaPath),
      concat({"there is no program ", shown(program), " for --cmdlineJava; the launch ends ",
              "with \"Failed to exec\" and status 0: set java.path, or JAVA_HOME"}));
}

void startClassMissing(const Inspection& inspection, Report& report) {
  if (!inspection.knowsAllKeys() || !startsJava(inspection)) return;
  if (inspection.value(keys::startClass)) return;
  report.fatal(
      inspection.mainFile(),
      "java.start.class is not set, and the launch ends with status 255: name the class with the "
      "static start method");
}

/// True when a class may come from elsewhere than the class path.
bool mayComeFromElsewhere(const Inspection& inspection, std::string_view name) {
  for (const std::string_view prefix : {"java/", "javax/", "jdk/", "sun/", "com/sun/"}) {
    if (name.starts_with(prefix)) return true;
  }
  return std::any_of(inspection.plan.options.begin(), inspection.plan.options.end(),
                     [](const std::string& option) {
                       return option.starts_with("-Xbootclasspath") ||
                              option.starts_with("--module-path") ||
                              option.starts_with("--patch-module") ||
                              option.starts_with("-javaagent") ||
                              option.starts_with("-Djava.system.class.loader");
                     });
}

std::string withSlashes(std::string name) {
  std::replace(name.begin(), name.end(), '.', '/');
  return name;
}

/// The name that a class file has by its own account, with dots, when it is not the wanted one.
std::string otherNameOf(const FoundClass& found, const std::string& wanted) {
  const std::optional<ClassFile> parsed = parseClassFile(found.bytes);
  // Class files spell characters beyond the first plane in their own way.
  const bool isComparable = std::none_of(
      wanted.begin(), wanted.end(), [](char c) { return static_cast<unsigned char>(c) >= 0xF0; });
  if (!parsed || !isComparable || parsed->name == withSlashes(wanted)) return {};
  std::string name(parsed->name);
  std::replace(name.begin(), name.end(), '/', '.');
  return name;
}

/// The nested class that dots were written for: com.acme.Main$Server; empty: none.
std::string nestedClassLike(const Inspection& inspection, std::string name) {
  for (std::size_t dot = 0; (dot = name.rfind('.')) != std::string::npos;) {
    name[dot] = '$';
    if (inspection.classPath->find(withSlashes(name))) return name;
  }
  return {};
}

void startClassNotFound(const Inspection& inspection, Report& report) {
  const std::string name = inspection.valueOf(keys::startClass);
  if (!startsJava(inspection) || name.empty() || !inspection.classPath) return;
  if (const std::optional<FoundClass>& found = inspection.classPath->startClass()) {
    const std::string other = otherNameOf(*found, name);
    if (other.empty()) return;
    report.fatalIf(inspection.startsJvm(), inspection.positionOf(keys::startClass),
                   concat({"the class in ", shown(found->where), " is ", printable(other), ", and ",
                           endOf(inspection), ": use that name, and put the folder above its ",
                           "outermost package on the class path"}));
    return;
  }
  if (mayComeFromElsewhere(inspection, withSlashes(name))) return;
  const std::string nested = nestedClassLike(inspection, name);
  const std::string nearest = nested.empty() ? inspection.classPath->nearest(name) : nested;
  // The same name behind other folders is not another package.
  const bool isBelow = nearest.ends_with("." + name);
  const std::string advice =
      isBelow ? concat({" (it lies too deep there, as ", printable(nearest), ")"})
              : didYouMean(printable(nearest));
  report.fatalIf(inspection.startsJvm(), inspection.positionOf(keys::startClass),
                 concat({shown(name), " is not in the class path as it is expanded, of ",
                         countOf(inspection.classPath->elements().size(), "element"), advice, "; ",
                         endOf(inspection), ": `kvf explain` shows what each element brings"}));
}

std::optional<Jvm> configuredJvm(const Inspection& inspection) {
  if (!inspection.runsInProcess() || !inspection.isJava()) return std::nullopt;
  return jvmOfLibrary(inspection.atApplication(inspection.valueOf(keys::javaLibrary)));
}

void classVersion(const Inspection& inspection, Report& report) {
  const std::optional<Jvm> jvm = configuredJvm(inspection);
  if (!jvm || jvm->release == 0 || !inspection.classPath) return;
  const std::optional<FoundClass>& found = inspection.classPath->startClass();
  const std::optional<ClassFile> start =
      found ? parseClassFile(found->bytes) : std::optional<ClassFile>();
  if (!start) return;
  const unsigned needed = javaReleaseOf(start->majorVersion);
  if (needed <= jvm->release) return;
  report.fatal(inspection.positionOf(keys::startClass),
               concat({"the class in ", shown(found->where), " needs Java ", std::to_string(needed),
                       ", the JVM is ", jvm->version,
                       ": compile it for the older one, or name a newer JVM, `kvf jvm --line ",
                       std::to_string(needed), "`"}));
}

/// What the JVM threw when it was tried, unless another rule tells it from the files.
void startClassLoads(const Inspection& inspection, Report& report) {
  if (!inspection.jvmTrial || inspection.jvmTrial->classFailure.empty()) return;
  const std::string& failure = inspection.jvmTrial->classFailure;
  const std::string name = withSlashes(inspection.valueOf(keys::startClass));
  const bool isToldElsewhere =
      (withSlashes(failure).ends_with("ClassNotFoundException: " + name) &&
       !mayComeFromElsewhere(inspection, name)) ||
      failure.find("(wrong name: ") != std::string::npos ||
      failure.find("UnsupportedClassVersionError: " + name) != std::string::npos ||
      failure.find("ClassFormatError: ") != std::string::npos;
  if (isToldElsewhere) return;
  // A class of the module path, too, is only found in a module that is resolved.
  const bool isMissing = failure.find("NoClassDefFoundError") != std::string::npos ||
                         failure.find("ClassNotFoundException") != std::string::npos;
  report.fatal(
      inspection.positionOf(keys::startClass),
      concat({"the JVM cannot load the start class, and ", endOf(inspection), ": ", shown(failure),
              isMissing ? ": put what has this class into the class path, or name its module with "
                          "--add-modules"
                        : ""}));
}

/// Whether the class or one above it has the method; nothing when a class cannot be looked at.
std::optional<bool> hasStaticMethod(const ClassPathScan& classPath, FoundClass found,
                                    const std::string& method, std::string_view descriptor) {
  std::set<std::string> seen;
  for (;;) {
    const std::optional<ClassFile> parsed = parseClassFile(found.bytes);
    if (!parsed) return std::nullopt;
    if (parsed->staticMethod(method, descriptor) != nullptr) return true;
    const std::string above(parsed->superName);
    if (above.empty() || above == "java/lang/Object") return false;
    std::optional<FoundClass> next = classPath.find(above);
    if (!next || !seen.insert(above).second) return std::nullopt;
    found = std::move(*next);
  }
}

/// The first static method of that type that the class itself has; empty: none.
std::string methodLike(const FoundClass& found, std::string_view descriptor) {
  const std::optional<ClassFile> parsed = parseClassFile(found.bytes);
  if (!parsed) return {};
  for (const ClassMethod& method : parsed->staticMethods) {
    const bool isInitializer = method.name.starts_with('<');
    if (method.descriptor == descriptor && !isInitializer) return std::string(method.name);
  }
  return {};
}

/// Of the key, or where the default counts, of the start class.
Position positionOfMethod(const Inspection& inspection, const char* key) {
  return inspection.positionOf(inspection.value(key) ? key : keys::startClass);
}

void startMethod(const Inspection& inspection, Report& report) {
  if (!startsJava(inspection) || !inspection.classPath || !inspection.classPath->startClass()) {
    return;
  }
  const FoundClass& found = *inspection.classPath->startClass();
  const std::string method = inspection.runsInProcess()
                                 ? inspection.value(keys::startMethod).value_or("main")
                                 : std::string("main");
  constexpr std::string_view descriptor = "([Ljava/lang/String;)V";
  if (method.empty()) return;
  if (!parseClassFile(found.bytes)) {
    report.fatalIf(inspection.startsJvm(), inspection.positionOf(keys::startClass),
                   concat({"the class in ", shown(found.where), " is damaged"}));
    return;
  }
  if (hasStaticMethod(*inspection.classPath, found, method, descriptor).value_or(true)) return;
  report.fatalIf(inspection.startsJvm(), positionOfMethod(inspection, keys::startMethod),
                 concat({"the start class has no method \"static void ", method, "(String[])\"",
                         didYouMean(methodLike(found, descriptor)), ", and ", endOf(inspection)}));
}

void stopMethod(const Inspection& inspection, Report& report) {
  const auto signals = inspection.value(keys::stopSignals);
  if (!signals || !inspection.runsInProcess() || !inspection.isJava()) return;
  if (!inspection.classPath || !inspection.classPath->startClass()) return;
  if (StopSignalNames::parse(*signals, ApplicationKind::java).signals.empty()) return;
  const std::string method = inspection.value(keys::stopMethod).value_or("shutdown");
  const FoundClass& found = *inspection.classPath->startClass();
  if (hasStaticMethod(*inspection.classPath, found, method, "()V").value_or(true)) return;
  report(positionOfMethod(inspection, keys::stopMethod),
         concat({"the start class has no method \"static void ", method, "()\"",
                 didYouMean(methodLike(found, "()V")),
                 ", so that the signals of application.stop.signals act as without it: name the ",
                 "method that stops the application"}));
}

/// Why the loader does not take a native library of that path; empty: it does.
std::string complaintAboutLibrary(const std::string& path, const std::optional<ElfFile>& elf) {
  if (!exists(path)) return "is not there";
  if (!elf) return "is not a shared library";
  return elf->sameArchitecture(ownElfFile()) ? "" : "is for another architecture";
}

/// The entry points that none of the libraries has; nothing when one of them is not known.
std::optional<std::set<std::string_view>> missingEntries(
    const std::vector<std::optional<ElfFile>>& libraries) {
  std::set<std::string_view> missing;
  for (const EntryPoint& entry : entryPoints) missing.insert(entry.symbol);
  bool areKnown = true;
  for (const std::optional<ElfFile>& library : libraries) {
    areKnown = areKnown && library && library->exports;
    if (!library) continue;
    std::erase_if(missing, [&](std::string_view entry) { return library->exportsName(entry); });
  }
  if (!areKnown && !missing.empty()) return std::nullopt;
  return missing;
}

void nativeLibrary(const Inspection& inspection, Report& report) {
  const std::string value = inspection.valueOf(keys::applicationLibrary);
  if (value.empty()) return;
  const Position at = inspection.positionOf(keys::applicationLibrary);
  std::vector<std::optional<ElfFile>> libraries;
  for (const WString& piece : CommonTool::splitEx(value.c_str(), ":")) {
    // The launcher loads no more than it needs.
    if (const auto missing = missingEntries(libraries); missing && missing->empty()) return;
    const std::string name = toString(piece);
    std::optional<ElfFile>& library = libraries.emplace_back();
    // A bare name is looked for by the loader.
    if (name.find('/') == std::string::npos) continue;
    const std::string path = inspection.atLauncher(name);
    library = readElfFile(path);
    const std::string complaint = complaintAboutLibrary(path, library);
    if (complaint.empty()) continue;
    report.fatal(at,
                 concat({shown(name), " ", complaint, ", and every command ends with status 255, ",
                         "--version too: name a library of this machine"}));
    return;
  }
  const auto missing = missingEntries(libraries);
  if (!missing || missing->empty()) return;
  std::string names;
  for (const std::string_view entry : *missing) {
    names += (names.empty() ? "" : ", ") + std::string(entry);
  }
  report.fatal(
      at, concat({"the libraries export no ", names, ", and every command ends with status 255: a ",
                  "native application has AppMain, AppStop and RegisterWrapperEntryPoints"}));
}

constexpr Rule rules[] = {
    {.id = "no-library",
     .severity = Severity::error,
     .summary = "neither java.library nor application.library",
     .explanation = "The launcher has nothing to run. Only a host program that links it in can do "
                    "without both.",
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
         "It has to be the path of libjvm.so, for this machine's architecture. One that is not "
         "there is no error to the launcher: it loads whatever libjvm.so the loader finds.",
     .example = {.lines = "java.library=%JAVA_HOME%/bin/java"},
     .remedy = {.lines = "java.library=%JAVA_HOME%/lib/server/libjvm.so"},
     .check = jvmLibrary},
    {.id = "java-program",
     .severity = Severity::error,
     .summary = "no program java for --cmdlineJava",
     .explanation =
         "It is java.path, else bin/java in JAVA_HOME, else java along PATH. When it cannot be "
         "executed, the launch ends with status 0: a service manager takes that for success.",
     .example = {.lines = "java.path=/opt/gone/bin/java",
                 .command = "kvf check -- wrapper --propFile acme.kvf --cmdlineJava"},
     .remedy = {.lines = "java.path=%JAVA_HOME%/bin/java",
                .command = "kvf check -- wrapper --propFile acme.kvf --cmdlineJava"},
     .check = javaProgram},
    {.id = "start-class",
     .severity = Severity::error,
     .summary = "no java.start.class",
     .explanation = "A Java run needs the class whose static method it calls.",
     .example = {.lines = "java.library=%JAVA_HOME%/lib/server/"
                          "libjvm.so\nvelox.class.path.extended=%kvf.file.dir%/lib",
                 .whole = true},
     .remedy = {.lines = "java.start.class=com.acme.Main"},
     .check = startClassMissing},
    {.id = "start-class-not-found",
     .severity = Severity::error,
     .summary = "a start class that is not in the class path",
     .explanation = "The class is looked for in the class path as the launch would expand it, and "
                    "in the archives that manifests name.",
     .example = {.lines = "java.start.class=com.acme.Mian"},
     .remedy = {.lines = "java.start.class=com.acme.Main"},
     .check = startClassNotFound},
    {.id = "start-class-loads",
     .severity = Severity::error,
     .summary = "a start class that lacks a library",
     .explanation = "To load a class a JVM needs those that it extends, and some that it uses. "
                    "Checked with --jvm, which loads the start class and runs nothing of it.",
     .example = {.note = "The start class extends one that is in no archive of the class path.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/classes\n"
                          "java.start.class=com.acme.Main",
                 .command = "kvf check --jvm acme.kvf",
                 .files = {{.path = "classes/com/acme/Main.class",
                            .kind = ExampleFile::Kind::orphanClass}}},
     .remedy = {.note = "Put the archive that has it into the class path.",
                .command = "kvf check --jvm acme.kvf"},
     .check = startClassLoads},
    {.id = "class-version",
     .severity = Severity::error,
     .summary = "a start class that is newer than the JVM",
     .explanation = "A JVM loads classes that were compiled for its release or an older one.",
     .example = {.note = "A class of a newer Java than the JVM's.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/classes\n"
                          "java.start.class=com.acme.Main",
                 .files = {{.path = "classes/com/acme/Main.class",
                            .kind = ExampleFile::Kind::newerClass}}},
     .remedy = {.note = "Compile with javac --release 17, say, or name a newer JVM."},
     .check = classVersion},
    {.id = "start-method",
     .severity = Severity::error,
     .summary = "no such static method in the start class",
     .explanation = "The start method is static, takes a String[] and returns nothing; it is main "
                    "unless java.start.method says otherwise.",
     .example = {.lines = "java.start.method=mian"},
     .remedy = {.lines = "java.start.method=main"},
     .check = startMethod},
    {.id = "stop-method",
     .severity = Severity::error,
     .summary = "no such static method to stop with",
     .explanation =
         "With application.stop.signals the first of these signals calls a static method without "
         "arguments and result; it is shutdown unless java.stop.method says otherwise. When it is "
         "not there, the signal acts as it would without the key.",
     .example = {.lines = "application.stop.signals=TERM\njava.stop.method=shutdwon"},
     .remedy = {.lines = "application.stop.signals=TERM\njava.stop.method=shutdown"},
     .check = stopMethod},
    {.id = "native-library",
     .severity = Severity::error,
     .summary = "a native library that is missing or lacks its entry points",
     .explanation = "The libraries of application.library together export AppMain, AppStop and "
                    "RegisterWrapperEntryPoints. Every command loads them.",
     .example = {.lines = "application.library=%kvf.file.dir%/libgone.so", .whole = true},
     .remedy = {.lines = "application.library=%kvf.file.dir%/libacme.so", .whole = true},
     .check = nativeLibrary},
};

}  // namespace

std::span<const Rule> javaRules() {
  return rules;
}
