#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "hosting/StopSignals.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// The class that a launch starts with, and its methods.

namespace {

/// Also by a script.
bool startsJava(const Inspection& inspection) {
  return inspection.startsJvm() || inspection.command() == switches::generateScript;
}

/// What becomes of a launch whose start class is not usable.
std::string endOf(const Inspection& inspection) {
  return inspection.runsInProcess() ? "the launch ends with status 255"
                                    : "java ends with a message of its own";
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
                              option.starts_with("--upgrade-module-path") ||
                              option.starts_with("--patch-module") ||
                              option.starts_with("-javaagent") ||
                              option.starts_with("-Djava.system.class.loader");
                     });
}

std::string withSlashes(std::string name) {
  std::replace(name.begin(), name.end(), '.', '/');
  return name;
}

/// The name in the class file itself, with dots, when it is not the wanted one.
std::string otherNameOf(const FoundClass& found, const std::string& wanted) {
  const std::optional<ClassFile> parsed = parseClassFile(found.bytes);
  // Class files encode characters beyond the first plane in their own way.
  const bool isComparable = std::none_of(
      wanted.begin(), wanted.end(), [](char c) { return static_cast<unsigned char>(c) >= 0xF0; });
  if (!parsed || !isComparable || parsed->name == withSlashes(wanted)) return {};
  std::string name(parsed->name);
  std::replace(name.begin(), name.end(), '/', '.');
  return name;
}

/// The nested class that dots were written for: com.acme.Main$Server; empty: none.
std::string nestedClassLike(const Inspection& inspection, std::string name) {
  constexpr int mostLevels = 8;
  for (int level = 0; level < mostLevels; ++level) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) break;
    name[dot] = '$';
    if (inspection.classPath->find(withSlashes(name))) return name;
  }
  return {};
}

/// The start class, in the class path or a module.
std::optional<FoundClass> startClassOf(const Inspection& inspection) {
  if (!inspection.classPath) return std::nullopt;
  if (inspection.classPath->startClass() || !inspection.modulePath)
    return inspection.classPath->startClass();
  return inspection.modulePath->findClass(withSlashes(inspection.valueOf(keys::startClass)));
}

/// The name of a class that was probably meant, with dots; empty: none is near.
std::string classLike(const Inspection& inspection, const std::string& name) {
  std::string near = nestedClassLike(inspection, name);
  if (near.empty()) near = inspection.classPath->nearest(name);
  if (near.empty() && inspection.modulePath) near = inspection.modulePath->nearestClass(name);
  return near;
}

/// "the class path as it is expanded, of 3 elements, nor in the 2 modules of the module path".
std::string searchedPlaces(const Inspection& inspection) {
  const std::size_t elements = inspection.classPath->elements().size();
  std::string places =
      elements == 0
          ? std::string("the working directory, which an empty class path stands for")
          : concat({"the class path as it is expanded, of ", countOf(elements, "element")});
  if (!inspection.modulePath || inspection.modulePath->modules().empty()) return places;
  return concat({places, ", nor in the ",
                 countOf(inspection.modulePath->modules().size(), "module"), " of --module-path"});
}

/// The module that has the start class, when the JVM starts without it; null: that is not so.
const FoundModule* moduleNotResolved(const Inspection& inspection) {
  if (!inspection.modulePath || inspection.classPath->startClass()) return nullptr;
  const std::optional<FoundClass> found = startClassOf(inspection);
  const FoundModule* module = found ? inspection.modulePath->moduleAt(found->where) : nullptr;
  return module == nullptr || inspection.modulePath->mayBeResolved(*module) ? nullptr : module;
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
  if (const FoundModule* module = moduleNotResolved(inspection)) {
    report.fatalIf(inspection.startsJvm(), inspection.positionOf(keys::startClass),
                   concat({shown(name), " is in the module ", printable(module->name), ", ",
                           shown(module->where), ", which the JVM does not load by itself, and ",
                           endOf(inspection), ": add --add-modules=", printable(module->name),
                           " to ", keys::extendedProperties}));
    return;
  }
  if (startClassOf(inspection)) return;
  const std::string nearest = classLike(inspection, name);
  // The same name below other folders is not another package.
  const bool isBelow = nearest.ends_with("." + name);
  const std::string advice = isBelow
                                 ? concat({" (it is too deep there, as ", printable(nearest), ")"})
                                 : didYouMean(printable(nearest));
  report.fatalIf(inspection.startsJvm(), inspection.positionOf(keys::startClass),
                 concat({shown(name), " is not in ", searchedPlaces(inspection), advice, "; ",
                         endOf(inspection), ": `kvf explain` shows what each element brings"}));
}

void classVersion(const Inspection& inspection, Report& report) {
  const std::optional<FoundClass> found = startClassOf(inspection);
  const std::optional<ClassFile> start =
      found ? parseClassFile(found->bytes) : std::optional<ClassFile>();
  if (!start) return;
  const unsigned needed = javaReleaseOf(start->majorVersion);
  const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
  const auto tell = [&](const std::string& other) {
    return concat({"the class in ", shown(found->where), " needs Java ", std::to_string(needed),
                   ", ", other, ": compile it for the older one, or name a newer JVM, ",
                   "`kvf jvm --line ", std::to_string(needed), "`"});
  };
  if (jvm && jvm->release != 0 && needed > jvm->release) {
    report.fatal(inspection.positionOf(keys::startClass), tell("the JVM is " + jvm->version));
  } else if (inspection.javaRelease != 0 && needed > inspection.javaRelease) {
    report(
        inspection.positionOf(keys::startClass),
        tell(concat({"and Java ", std::to_string(inspection.javaRelease), " does not load it"})));
  }
}

/// What the JVM threw when it was tried, unless another rule reports it from the files.
void startClassLoads(const Inspection& inspection, Report& report) {
  if (!inspection.jvmTrial || inspection.jvmTrial->classFailure.empty()) return;
  const std::string& failure = inspection.jvmTrial->classFailure;
  const std::string name = withSlashes(inspection.valueOf(keys::startClass));
  const bool isToldElsewhere =
      (withSlashes(failure).ends_with("ClassNotFoundException: " + name) &&
       !mayComeFromElsewhere(inspection, name) &&
       (!startClassOf(inspection) || moduleNotResolved(inspection) != nullptr)) ||
      failure.find("(wrong name: ") != std::string::npos ||
      failure.find("UnsupportedClassVersionError: " + name) != std::string::npos ||
      failure.find("ClassFormatError: ") != std::string::npos;
  if (isToldElsewhere) return;
  // A class of the module path, too, is only found in a resolved module.
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

/// The position of the key or, where the default counts, of the start class.
Position positionOfMethod(const Inspection& inspection, const char* key) {
  return inspection.positionOf(inspection.value(key) ? key : keys::startClass);
}

/// True where the program java may run a main that is not static: since 25, and before in trials.
bool mayTakeInstanceMain(const Inspection& inspection, unsigned first) {
  const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
  return !jvm || jvm->release == 0 || jvm->release >= first;
}

/// What to do about a start method that is none for the launcher.
std::string remedyFor(const Inspection& inspection, const std::string& method) {
  constexpr unsigned first = 25;
  const bool isOne =
      inspection.runsInProcess() && method == "main" && mayTakeInstanceMain(inspection, first);
  return isOne ? ": write one; the program java, by --cmdlineJava, also takes a main that is not "
                 "static or has no arguments"
               : ": write one, or name another class";
}

void startMethod(const Inspection& inspection, Report& report) {
  const std::optional<FoundClass> found = startClassOf(inspection);
  if (!startsJava(inspection) || !found) return;
  const std::string method = inspection.runsInProcess()
                                 ? inspection.value(keys::startMethod).value_or("main")
                                 : std::string("main");
  constexpr std::string_view descriptor = "([Ljava/lang/String;)V";
  if (method.empty()) return;
  if (!parseClassFile(found->bytes)) {
    report.fatalIf(inspection.startsJvm(), inspection.positionOf(keys::startClass),
                   concat({"the class in ", shown(found->where), " is damaged"}));
    return;
  }
  if (hasStaticMethod(*inspection.classPath, *found, method, descriptor).value_or(true)) return;
  constexpr unsigned firstTrial = 21;
  if (!inspection.runsInProcess() && mayTakeInstanceMain(inspection, firstTrial)) return;
  report.fatalIf(inspection.startsJvm(), positionOfMethod(inspection, keys::startMethod),
                 concat({"the start class has no method \"static void ", method, "(String[])\"",
                         didYouMean(methodLike(*found, descriptor)), ", and ", endOf(inspection),
                         remedyFor(inspection, method)}));
}

void stopMethod(const Inspection& inspection, Report& report) {
  const auto signals = inspection.value(keys::stopSignals);
  if (!signals || !inspection.runsInProcess() || !inspection.isJava()) return;
  const std::optional<FoundClass> found = startClassOf(inspection);
  if (!found) return;
  if (StopSignalNames::parse(*signals, ApplicationKind::java).signals.empty()) return;
  const std::string method = inspection.value(keys::stopMethod).value_or("shutdown");
  if (hasStaticMethod(*inspection.classPath, *found, method, "()V").value_or(true)) return;
  report(positionOfMethod(inspection, keys::stopMethod),
         concat({"the start class has no method \"static void ", method, "()\"",
                 didYouMean(methodLike(*found, "()V")),
                 ", so that the signals of application.stop.signals act as without it: name the ",
                 "method that stops the application"}));
}

constexpr Rule rules[] = {
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
                    "Checked with --jvm, which loads the start class and runs none of its code.",
     .example = {.note =
                     "The start class extends one that is not in any archive of the class path.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/classes\n"
                          "java.start.class=com.acme.Main",
                 .command = "kvf check --jvm acme.kvf",
                 .files = {{.path = "classes/com/acme/Main.class",
                            .kind = ExampleFile::Kind::orphanClass}}},
     .remedy = {.note = "Add the archive that has it to the class path.",
                .command = "kvf check --jvm acme.kvf"},
     .check = startClassLoads},
    {.id = "class-version",
     .severity = Severity::error,
     .summary = "a start class that is newer than the JVM",
     .explanation = "A JVM loads classes that were compiled for its release or an older one.",
     .example = {.note = "A class that was compiled for a newer Java than the JVM's.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/classes\n"
                          "java.start.class=com.acme.Main",
                 .files = {{.path = "classes/com/acme/Main.class",
                            .kind = ExampleFile::Kind::newerClass}}},
     .remedy = {.note = "Compile with javac --release 17, for example, or name a newer JVM."},
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
     .explanation = "With application.stop.signals the first of these signals calls a static void "
                    "method without arguments; it is shutdown unless java.stop.method says "
                    "otherwise. If it does not exist, the signal acts as it would without the key.",
     .example = {.lines = "application.stop.signals=TERM\njava.stop.method=shutdwon"},
     .remedy = {.lines = "application.stop.signals=TERM\njava.stop.method=shutdown"},
     .check = stopMethod},
};

}  // namespace

std::span<const Rule> startClassRules() {
  return rules;
}
