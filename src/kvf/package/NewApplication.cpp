#include "kvf/package/NewApplication.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>

#include "kvf/formats/Archive.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/package/ApplicationTexts.h"
#include "kvf/package/ArchiveCollection.h"

namespace fs = std::filesystem;

namespace {

constexpr char mainDescriptor[] = "([Ljava/lang/String;)V";
constexpr int maxSuperClasses = 64;

/// Options for what only `java -jar` reads in the manifest of its archive.
struct ManifestOption {
  const char* attribute;
  const char* option;
  bool manyValues;  ///< "module/package" texts, each opened to all
};
constexpr ManifestOption manifestOptions[] = {
    {.attribute = "Add-Opens", .option = "--add-opens", .manyValues = true},
    {.attribute = "Add-Exports", .option = "--add-exports", .manyValues = true},
    {.attribute = "Enable-Native-Access", .option = "--enable-native-access", .manyValues = false},
};

struct LostAttribute {
  const char* attribute;
  const char* advice;
};
constexpr LostAttribute lostAttributes[] = {
    {"Launcher-Agent-Class",
     "an agent that only `java -jar` starts; if the archive has a Premain-Class too, add "
     "-javaagent:%kvf.file.dir%/lib/FILE to java.extended.properties"},
    {"SplashScreen-Image", "a picture that only the java command shows"},
};

std::vector<std::string> optionsOf(const Manifest& manifest) {
  std::vector<std::string> options;
  for (const ManifestOption& entry : manifestOptions) {
    std::istringstream words(attributeOf(manifest, entry.attribute));
    for (std::string word; words >> word;) {
      options.push_back(std::string(entry.option) + "=" + word +
                        (entry.manyValues ? "=ALL-UNNAMED" : ""));
    }
  }
  return options;
}

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

/// Makes files in the folder; a folder that was not there disappears again unless keep() is called.
class FolderMaker {
 public:
  FolderMaker(fs::path folder, bool force) : folder_(std::move(folder)) {
    std::error_code error;
    const bool there = fs::exists(fs::symlink_status(folder_, error));
    if (there && !force && !(fs::is_directory(folder_) && fs::is_empty(folder_)))
      throw NewApplicationError(folder_.string() + " is there already; --force writes into it");
    if (fs::absolute(folder_).string().find(':') != std::string::npos)
      throw NewApplicationError(
          "a Java class path cannot hold a folder with a colon in its name: " +
          fs::absolute(folder_).string());
    // Of the folders on the way, the first new one is what has to disappear.
    for (fs::path missing = folder_; !missing.empty() && !fs::exists(missing, error);
         missing = missing.parent_path())
      made_ = missing;
    fs::create_directories(folder_);
  }
  FolderMaker(const FolderMaker&) = delete;
  FolderMaker& operator=(const FolderMaker&) = delete;
  ~FolderMaker() {
    std::error_code error;
    if (!made_.empty()) fs::remove_all(made_, error);
  }

  void keep() { made_.clear(); }

  void write(const fs::path& name, const std::string& text, bool executable = false) {
    const fs::path file = prepared(name);
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream) throw NewApplicationError("cannot write " + file.string());
    if (executable)
      fs::permissions(file, fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec,
                      fs::perm_options::add);
  }

  void copy(const fs::path& source, const fs::path& name) { fs::copy_file(source, prepared(name)); }

  /// Links that stay inside stay links; what others lead to is copied in their place.
  void copyTree(const fs::path& source, const fs::path& name) {
    if (fs::exists(folder_ / name)) fs::remove_all(folder_ / name);
    std::set<fs::path> within;
    copyEntries({fs::canonical(source), folder_ / name}, fs::canonical(source), within);
  }

 private:
  struct FromTo {
    fs::path from;
    fs::path to;
  };

  /// The file's place, with nothing there: what is replaced may be a link or a running program.
  fs::path prepared(const fs::path& name) {
    fs::path file = folder_ / name;
    fs::create_directories(file.parent_path());
    fs::remove(file);
    return file;
  }

  static bool staysInside(const fs::path& link, const fs::path& root) {
    std::error_code error;
    const fs::path real = fs::canonical(link, error);
    const fs::path relative = real.lexically_relative(root);
    return !error && fs::read_symlink(link).is_relative() && !relative.empty() &&
           *relative.begin() != "..";
  }

  /// `within` holds the folders that the way leads through, as a link may lead back to one.
  static void copyEntries(const FromTo& folder, const fs::path& root, std::set<fs::path>& within) {
    fs::create_directories(folder.to);
    const auto [place, isNew] = within.insert(fs::canonical(folder.from));
    if (!isNew) return;
    for (const auto& entry : fs::directory_iterator(folder.from)) {
      const fs::path to = folder.to / entry.path().filename();
      if (entry.is_symlink() && staysInside(entry.path(), root)) {
        fs::copy_symlink(entry.path(), to);
      } else if (entry.is_directory()) {
        copyEntries({entry.path(), to}, root, within);
      } else if (entry.is_regular_file()) {
        fs::copy_file(entry.path(), to);
      }
    }
    within.erase(place);
  }

  fs::path folder_;
  fs::path made_;
};

void useShippedRuntime(const fs::path& runtime, ApplicationFolder& folder) {
  const auto jvm = jvmAt(runtime);
  if (!jvm) throw NewApplicationError("there is no JVM in " + runtime.string());
  if (jvm->release != 0 && jvm->release < folder.release)
    throw NewApplicationError("the start class needs Java " + std::to_string(folder.release) +
                              ", and " + runtime.string() + " is Java " +
                              std::to_string(jvm->release));
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
  folder.options = optionsOf(manifest);
  for (const CollectedArchive& archive : archives.archives())
    folder.archives.push_back(archive.name);
  if (request.runtime.empty()) {
    useRuntimeOfMachine(folder);
  } else {
    useShippedRuntime(request.runtime, folder);
  }
  return folder;
}

void makeFolder(const NewApplicationRequest& request, const ArchiveCollection& archives,
                const ApplicationFolder& folder) {
  FolderMaker maker(request.directory, request.force);
  maker.copy(request.launcher, "bin/wrapper");
  maker.write("bin/" + folder.name, startScript(folder), true);
  maker.write(folder.name + ".kvf", propertiesFile(folder));
  maker.write(folder.name + ".service",
              serviceUnit(folder, fs::canonical(request.directory).native()));
  for (const CollectedArchive& archive : archives.archives())
    maker.copy(archive.source, "lib/" + archive.name);
  if (!request.runtime.empty()) maker.copyTree(request.runtime, "runtime");
  maker.keep();
}

}  // namespace

std::vector<std::string> makeApplication(const NewApplicationRequest& request) try {
  const ArchiveCollection archives = collect(request);
  const Manifest manifest = manifestOf(request.jar);
  const ApplicationFolder folder = describe(request, archives, manifest);
  makeFolder(request, archives, folder);

  std::vector<std::string> notes = archives.notes();
  for (const LostAttribute& lost : lostAttributes) {
    if (!attributeOf(manifest, lost.attribute).empty())
      notes.push_back(std::string("not carried along: ") + lost.attribute + ", " + lost.advice);
  }
  return notes;
} catch (const fs::filesystem_error& error) {
  throw NewApplicationError(error.what());
}

std::string nameForArchive(const fs::path& jar) {
  std::string name = jar.stem();
  // "acme-1.2-all": a version begins behind a dash and with a digit.
  for (std::size_t at = name.find('-'); at != std::string::npos; at = name.find('-', at + 1)) {
    if (at > 0 && at + 1 < name.size() &&
        std::isdigit(static_cast<unsigned char>(name[at + 1])) != 0)
      return name.substr(0, at);
  }
  return name;
}
