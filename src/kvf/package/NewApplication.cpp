#include "kvf/package/NewApplication.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <system_error>

#include "config/Switches.h"
#include "kvf/formats/Archive.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/import/ManifestStart.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/package/ApplicationTexts.h"
#include "kvf/package/ArchiveCollection.h"
#include "kvf/package/FolderUpdate.h"
#include "kvf/package/RuntimeArchive.h"
#include "kvf/process/Files.h"
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
      throw NewApplicationError("the start class " + startClass + " is in none of the archives");
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
    throw NewApplicationError(folder.string() + " is there already; --force writes into it");
  const std::string absolute = fs::absolute(folder).string();
  if (absolute.find(':') != std::string::npos)
    throw NewApplicationError("a Java class path cannot hold a folder with a colon in its name: " +
                              absolute);
  if (request.runtime.empty()) return;
  const fs::path runtime = fs::canonical(request.runtime);
  const fs::path relative = fs::weakly_canonical(fs::absolute(folder)).lexically_relative(runtime);
  if (!relative.empty() && *relative.begin() != "..")
    throw NewApplicationError(folder.string() +
                              " lies in the runtime that is to be copied into it");
}

/// Only the wrapper, and a host program that holds it, have a usage text with such a line.
void checkLauncher(const fs::path& launcher) {
  // Put together here, so that this program has no such text.
  const std::string usage = concat({switches::cmdlineJava, ", run java program by command line"});
  const std::string bytes = readWhole(launcher);
  if (!bytes.starts_with("\x7F"
                         "ELF") ||
      bytes.find(usage) == std::string::npos)
    throw NewApplicationError(launcher.string() + " is not the wrapper");
}

void useShippedRuntime(const fs::path& runtime, ApplicationFolder& folder) {
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
                              " lies outside of it: " + fs::canonical(jvm->library).string());
  const auto inFolder = [&](const fs::path& file) {
    return (fs::path("runtime") / file.lexically_relative(runtime)).string();
  };
  folder.jvmLibrary = inFolder(jvm->library);
  if (!jvm->java.empty()) folder.java = inFolder(jvm->java);
}

void useRuntimeOfMachine(ApplicationFolder& folder) {
  const std::vector<Jvm> jvms = findJvms(usualJvmPlaces());
  const Jvm* jvm = newestJvm(jvms, folder.release);
  if (jvm == nullptr)
    throw NewApplicationError("no JVM of Java " + std::to_string(folder.release) +
                              " or newer found; name a runtime to ship with --jre");
  folder.jvmLibrary = jvm->library;
  folder.java = jvm->java;
}

ArchiveCollection collect(const NewApplicationRequest& request) {
  if (Archive(request.jar).state() != ArchiveState::readable)
    throw NewApplicationError(request.jar.string() + " is no archive that can be read");
  ArchiveCollection archives;
  archives.add(request.jar);
  if (!request.libraries.empty()) archives.addFolder(request.libraries);
  return archives;
}

ApplicationFolder describe(const NewApplicationRequest& request, const ArchiveCollection& archives,
                           const Manifest& manifest) {
  ApplicationFolder folder;
  folder.name = request.name.empty() ? nameForArchive(request.jar) : request.name;
  if (!isApplicationName(folder.name))
    throw NewApplicationError("\"" + folder.name +
                              "\" cannot be the name: letters, digits, \"_\", \"-\" and \".\" can, "
                              "the word wrapper cannot; give --name");
  folder.startClass =
      request.startClass.empty() ? attributeOf(manifest, "Main-Class") : request.startClass;
  if (folder.startClass.empty())
    throw NewApplicationError(request.jar.string() +
                              " names no start class in its manifest; give --main");
  folder.release = checkStartClass(archives, folder.startClass);
  folder.options = optionsOfManifest(manifest, 0);
  for (const CollectedArchive& archive : archives.archives())
    folder.archives.push_back(archive.name);
  if (request.runtime.empty()) {
    useRuntimeOfMachine(folder);
  } else {
    useShippedRuntime(request.runtime, folder);
  }
  return folder;
}

/// What the user should know of links that are of no use elsewhere.
std::string noteOnLinks(const std::vector<fs::path>& leadingOut) {
  return countOf(leadingOut.size(), "link") + " of the runtime lead out of it and " +
         (leadingOut.size() == 1 ? "stays one" : "stay links") + ", such as " +
         (fs::path("runtime") / leadingOut.front()).string();
}

void noteOnClassData(const RuntimeArchiveEnd& end, std::vector<std::string>& notes) {
  if (end.result == RuntimeArchive::made)
    notes.push_back(
        "the runtime has been given a class-data archive of its own classes, so that it "
        "starts sooner");
  if (end.result == RuntimeArchive::impossible)
    notes.push_back(
        concat({"the runtime has no class-data archive of its own classes, so it starts later, and "
                "none could be made: ",
                end.reason}));
}

void makeFolder(const NewApplicationRequest& request, const ArchiveCollection& archives,
                const ApplicationFolder& folder, std::vector<std::string>& notes) {
  constexpr unsigned forAll = 0644;
  constexpr unsigned forAllToRun = 0755;
  FolderUpdate update(request.directory);
  update.copy(request.launcher, "bin/wrapper", forAllToRun);
  update.write("bin/" + folder.name, startScript(folder), forAllToRun);
  update.write(folder.name + ".kvf", propertiesFile(folder), forAll);
  update.write(folder.name + ".service", serviceUnit(folder, update.folder().native()), forAll);
  update.write(folder.name + ".tmpfiles.conf", temporaryFilesRule(folder), forAll);
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

}  // namespace

std::vector<std::string> makeApplication(const NewApplicationRequest& request) try {
  checkPlace(request);
  const ArchiveCollection archives = collect(request);
  const Manifest manifest = manifestOf(request.jar);
  const ApplicationFolder folder = describe(request, archives, manifest);
  checkLauncher(request.launcher);
  std::vector<std::string> notes = archives.notes();
  makeFolder(request, archives, folder, notes);
  for (const std::string& loss : lossesOfManifest(manifest))
    notes.push_back("not carried along: " + loss);
  return notes;
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
