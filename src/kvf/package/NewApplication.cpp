#include "kvf/package/NewApplication.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <system_error>

#include "config/Switches.h"
#include "kvf/formats/Archive.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/import/ImportedFile.h"
#include "kvf/import/JavaCommandLine.h"
#include "kvf/import/ManifestStart.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/package/ApplicationTexts.h"
#include "kvf/package/ArchiveCollection.h"
#include "kvf/package/FolderUpdate.h"
#include "kvf/package/RuntimeArchive.h"
#include "kvf/package/StartClassGuess.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"
#include "kvf/service/Account.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr char mainDescriptor[] = "([Ljava/lang/String;)V";
constexpr int maxSuperClasses = 64;

std::string withSlashes(std::string className) {
  std::replace(className.begin(), className.end(), '.', '/');
  return className;
}

/// The oldest release that can run the start class; throws when nothing can.
unsigned checkStartClass(const ArchiveCollection& archives, const std::string& startClass) {
  std::string className = withSlashes(startClass);
  unsigned release = 0;
  for (int level = 0; level < maxSuperClasses; ++level) {
    const auto bytes = archives.classBytes(className);
    const auto parsed = bytes ? parseClassFile(*bytes) : std::nullopt;
    if (!parsed && level > 0) break;
    if (!parsed)
      throw NewApplicationError("the start class " + startClass + " is not in any of the archives");
    release = std::max(release, javaReleaseOf(parsed->majorVersion));
    if (parsed->staticMethod("main", mainDescriptor) != nullptr) return release;
    className = parsed->superName;
  }
  throw NewApplicationError("the start class " + startClass +
                            " has no static method main(String[])");
}

void checkPlace(const NewApplicationRequest& request) {
  const fs::path& folder = request.directory;
  std::error_code error;
  const bool there = fs::exists(fs::symlink_status(folder, error));
  if (there && !request.force && !(fs::is_directory(folder) && fs::is_empty(folder)))
    throw NewApplicationError(folder.string() + " exists already; --force writes into it");
  const std::string absolute = fs::absolute(folder).string();
  if (absolute.find(':') != std::string::npos)
    throw NewApplicationError("a Java class path cannot hold a folder with a colon in its name: " +
                              absolute);
  if (request.runtime.empty()) return;
  const fs::path runtime = fs::canonical(request.runtime);
  const fs::path relative = fs::weakly_canonical(fs::absolute(folder)).lexically_relative(runtime);
  if (!relative.empty() && *relative.begin() != "..")
    throw NewApplicationError(folder.string() + " is in the runtime that is to be copied into it");
}

/// Only the wrapper, and a host program that contains it, have a usage text with such a line.
void checkLauncher(const fs::path& launcher) {
  // Put together here, so that this program has no such text.
  const std::string usage = concat({switches::cmdlineJava, ", run java program by command line"});
  const std::string bytes = readWhole(launcher);
  if (!bytes.starts_with("\x7F"
                         "ELF") ||
      bytes.find(usage) == std::string::npos)
    throw NewApplicationError(launcher.string() + " is not the wrapper");
}

/// Returns the release of its JVM, 0 when that is unknown.
unsigned useShippedRuntime(const fs::path& runtime, ApplicationFolder& folder) {
  const auto jvm = jvmAt(runtime);
  if (!jvm) throw NewApplicationError("there is no JVM in " + runtime.string());
  if (jvm->release != 0 && jvm->release < folder.release)
    throw NewApplicationError("the start class needs Java " + std::to_string(folder.release) +
                              ", and " + runtime.string() + " is Java " +
                              std::to_string(jvm->release));
  const fs::path root = fs::canonical(runtime);
  const fs::path real = fs::canonical(jvm->library).lexically_relative(root);
  if (real.empty() || *real.begin() == "..")
    throw NewApplicationError("the JVM of " + runtime.string() +
                              " is outside of it: " + fs::canonical(jvm->library).string());
  const auto inFolder = [&](const fs::path& file) {
    return (fs::path("runtime") / file.lexically_relative(runtime)).string();
  };
  folder.jvmLibrary = inFolder(jvm->library);
  if (!jvm->java.empty()) folder.java = inFolder(jvm->java);
  return jvm->release;
}

/// The same of the one that is chosen.
unsigned useRuntimeOfMachine(const JavaReleases& releases, ApplicationFolder& folder) {
  const JvmPlaces places = usualJvmPlaces();
  const unsigned first = std::max(releases.first, folder.release);
  const auto jvm = chosenJvm(places, findJvms(places), {first, releases.last});
  if (!jvm || first > releases.last)
    throw NewApplicationError(
        concat({"no JVM", JavaReleases{first, std::max(first, releases.last)}.description(),
                " found, which the start class needs; name a runtime to ship with --jre"}));
  folder.jvmLibrary = jvm->library;
  folder.java = jvm->java;
  return jvm->release;
}

ArchiveCollection collect(const NewApplicationRequest& request) {
  ArchiveCollection archives;
  for (const fs::path& jar : request.jars) {
    if (Archive(jar).state() != ArchiveState::readable)
      throw NewApplicationError(jar.string() + " is not a readable archive");
    archives.add(jar);
  }
  if (!request.libraries.empty()) archives.addFolder(request.libraries);
  return archives;
}

/// The first archive with a start class in its manifest, as `java -jar` would have it; the first
/// one when none has.
const fs::path& mainJar(const NewApplicationRequest& request) {
  for (const fs::path& jar : request.jars) {
    if (!attributeOf(manifestOf(jar), "Main-Class").empty()) return jar;
  }
  return request.jars.front();
}

/// The only class that could be meant; throws when there are several, or none.
std::string guessedStartClass(const NewApplicationRequest& request,
                              std::vector<std::string>& notes) {
  constexpr std::size_t mostShown = 10;
  std::vector<std::string> names;
  std::string jars;
  for (const fs::path& jar : request.jars) {
    for (std::string& name : classesWithMain(jar)) names.push_back(std::move(name));
    jars += concat({jars.empty() ? "" : ", ", jar.native()});
  }
  const char* const verb = request.jars.size() == 1 ? " names" : " name";
  const std::string none = concat({jars, verb, " no start class in ",
                                   request.jars.size() == 1 ? "its manifest" : "their manifests"});
  if (names.empty())
    throw NewApplicationError(none + ", and no class there has a main method; give --main");
  if (names.size() > 1) {
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), mostShown); ++i)
      list += concat({i == 0 ? "" : ", ", names[i]});
    if (names.size() > mostShown) list += ", ...";
    throw NewApplicationError(
        concat({none, ", and ", std::to_string(names.size()), " classes have a main method: ", list,
                "; choose one with --main"}));
  }
  notes.push_back(concat({none, "; ", names.front(),
                          " is started, the only class with a main "
                          "method; --main names another"}));
  return names.front();
}

void checkName(const std::string& name) {
  if (!isApplicationName(name))
    throw NewApplicationError("\"" + name +
                              "\" cannot be the name: letters, digits, \"_\", \"-\" and \".\" can, "
                              "the word wrapper cannot; give --name");
}

ApplicationFolder describe(const NewApplicationRequest& request, const ArchiveCollection& archives,
                           const Manifest& manifest, std::vector<std::string>& notes) {
  ApplicationFolder folder;
  folder.name = request.name.empty() ? nameForArchive(request.jars.front()) : request.name;
  checkName(folder.name);
  folder.startClass =
      request.startClass.empty() ? attributeOf(manifest, "Main-Class") : request.startClass;
  if (folder.startClass.empty()) folder.startClass = guessedStartClass(request, notes);
  folder.release = checkStartClass(archives, folder.startClass);
  for (const CollectedArchive& archive : archives.archives())
    folder.archives.push_back(archive.name);
  const unsigned release = request.runtime.empty() ? useRuntimeOfMachine(request.releases, folder)
                                                   : useShippedRuntime(request.runtime, folder);
  folder.options = optionsOfManifest(manifest, release);
  return folder;
}

/// What the user should know about links that are useless elsewhere.
std::string noteOnLinks(const std::vector<fs::path>& leadingOut) {
  return countOf(leadingOut.size(), "link") + " of the runtime lead out of it and " +
         (leadingOut.size() == 1 ? "stays one" : "stay links") + ", such as " +
         (fs::path("runtime") / leadingOut.front()).string();
}

void noteOnClassData(const RuntimeArchiveEnd& end, std::vector<std::string>& notes) {
  if (end.result == RuntimeArchive::made)
    notes.push_back(
        "the runtime was given a class-data archive of its own classes, so that it starts sooner");
  if (end.result == RuntimeArchive::impossible)
    notes.push_back(
        concat({"the runtime has no class-data archive of its own classes, so it starts more "
                "slowly, and none could be made: ",
                end.reason}));
}

constexpr unsigned forAll = 0644;
constexpr unsigned forAllToRun = 0755;
constexpr unsigned forOwner = 0600;

/// The parts that every folder has.
void writeParts(const NewApplicationRequest& request, const ApplicationFolder& folder,
                const std::string& properties, FolderUpdate& update) {
  update.copy(request.launcher, "bin/wrapper", forAllToRun);
  update.write("bin/" + folder.name, startScript(folder), forAllToRun);
  update.write(folder.name + ".kvf", properties, forAll);
  update.write(folder.name + ".service", serviceUnit(folder, update.folder().native()), forAll);
  update.write(folder.name + ".tmpfiles.conf", temporaryFilesRule(folder), forAll);
}

void makeFolder(const NewApplicationRequest& request, const ArchiveCollection& archives,
                const ApplicationFolder& folder, std::vector<std::string>& notes) {
  FolderUpdate update(request.directory);
  writeParts(request, folder, propertiesFile(folder), update);
  for (const CollectedArchive& archive : archives.archives())
    update.copy(archive.source, "lib/" + archive.name);
  if (!request.runtime.empty()) {
    const std::vector<fs::path> leadingOut = update.copyTree(request.runtime, "runtime");
    if (!leadingOut.empty()) notes.push_back(noteOnLinks(leadingOut));
    noteOnClassData(completeClassData(jvmAt(update.inTheMaking("runtime")).value()), notes);
  }
  for (const fs::path& kept : update.install())
    notes.push_back("what was there is kept as " + kept.string());
}

/// "acme" for /opt/acme/acme-1.2.jar, com.acme.Acme and com.acme/com.acme.Acme.
std::string nameForStart(const JavaCommandLine& line) {
  if (line.kind == JavaCommandLine::Kind::archive) return nameForArchive(line.what.text);
  std::string name = line.what.text.substr(line.what.text.find_last_of("./") + 1);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name;
}

/// The files that the start names stay where they are.
NewApplication makeImported(const NewApplicationRequest& request) {
  const JavaCommandLine line = readJavaCommandLine(*request.start);
  NewApplication made;
  made.name = request.name.empty() ? nameForStart(line) : request.name;
  checkName(made.name);
  ApplicationFolder folder;
  folder.name = made.name;
  folder.user = request.start->user;
  const std::string secrets = made.name + ".secrets.kvf";
  const ImportedFile imported = importedFile(
      *request.start, line,
      {"%kvf.file.dir%/" + secrets, argumentsVariable(folder), optionsVariable(folder)});
  checkLauncher(request.launcher);
  FolderUpdate update(request.directory);
  writeParts(request, folder, imported.text, update);
  if (!imported.secrets.empty()) {
    update.write(secrets, imported.secrets, forOwner);
    const bool isGiven = giveTo(folder.user, update.inTheMaking(secrets));
    made.notes.push_back(
        concat({"passwords and the like are in ", secrets, ", which only ",
                isGiven ? printable(folder.user) : "its owner", " may read",
                isGiven ? "" : ": it has to be the user that runs the application"}));
  }
  for (const fs::path& kept : update.install())
    made.notes.push_back("what was there is kept as " + kept.string());
  for (const std::string& loss : imported.losses) made.notes.push_back("not carried over: " + loss);
  made.isComplete = imported.losses.empty();
  return made;
}

}  // namespace

NewApplication makeApplication(const NewApplicationRequest& request) try {
  checkPlace(request);
  if (request.start) return makeImported(request);
  const ArchiveCollection archives = collect(request);
  const Manifest manifest = manifestOf(mainJar(request));
  NewApplication made;
  made.notes = archives.notes();
  const ApplicationFolder folder = describe(request, archives, manifest, made.notes);
  made.name = folder.name;
  checkLauncher(request.launcher);
  makeFolder(request, archives, folder, made.notes);
  for (const std::string& loss : lossesOfManifest(manifest))
    made.notes.push_back("not carried over: " + loss);
  return made;
} catch (const fs::filesystem_error& error) {
  throw FileError("use", error.path1(), error.code().value());
}

std::string nameForArchive(const fs::path& jar) {
  std::string name = jar.stem();
  // "acme-1.2-all": a version begins after a dash, with a digit.
  for (std::size_t at = name.find('-'); at != std::string::npos; at = name.find('-', at + 1)) {
    if (at > 0 && at + 1 < name.size() &&
        std::isdigit(static_cast<unsigned char>(name[at + 1])) != 0)
      return name.substr(0, at);
  }
  return name;
}
