#include "kvf/jvm/JvmSearch.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <sstream>
#include <system_error>

#include "kvf/formats/Manifest.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t maxEntriesOfFolder = 1024;
constexpr std::size_t maxReleaseFileBytes = 65536;

// Where the library is below a home; up to Java 8 with a folder for the architecture in between.
struct LibraryPlace {
  const char* folder;
  bool byArchitecture;
};
constexpr LibraryPlace libraryPlaces[] = {
    {.folder = "lib", .byArchitecture = false},
    {.folder = "jre/lib", .byArchitecture = true},
    {.folder = "lib", .byArchitecture = true},
};
constexpr const char* libraryKinds[] = {"server", "client", "minimal"};

// These folders contain homes, or are one.
constexpr const char* systemFolders[] = {
    "/usr/lib/jvm",
    "/usr/lib64/jvm",
    "/usr/local/lib/jvm",
    "/usr/java",
    "/usr/local/java",
    "/usr/local",  // openjdk-17 and the like in container images
    "/opt",
    "/opt/java",
    "/opt/jdk",
    "/opt/jvm",
    "/run/current-system/sw/lib",
    "/nix/var/nix/profiles/default/lib",
    "/home/linuxbrew/.linuxbrew/opt",
    "/snap/openjdk/current",
};

// Of tool managers: the variable that moves the tool's folder, else where it is in the home folder.
struct ToolFolder {
  const char* variable;  ///< null when there is none
  const char* inHome;
  const char* rest;
};
constexpr ToolFolder toolFolders[] = {
    {.variable = "SDKMAN_DIR", .inHome = ".sdkman", .rest = "candidates/java"},
    {.variable = "ASDF_DATA_DIR", .inHome = ".asdf", .rest = "installs/java"},
    {.variable = "MISE_DATA_DIR", .inHome = ".local/share/mise", .rest = "installs/java"},
    {.variable = "JENV_ROOT", .inHome = ".jenv", .rest = "versions"},
    {.variable = "JABBA_HOME", .inHome = ".jabba", .rest = "jdk"},
    {.variable = "GRADLE_USER_HOME", .inHome = ".gradle", .rest = "jdks"},
    {.variable = nullptr, .inHome = ".jdks", .rest = ""},
    {.variable = nullptr, .inHome = ".nix-profile/lib", .rest = ""},
    {.variable = nullptr, .inHome = ".linuxbrew/opt", .rest = ""},
};

std::string variable(const char* name) {
  const char* value = name == nullptr ? nullptr : std::getenv(name);
  return value == nullptr ? std::string() : value;
}

bool isFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

bool isFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

/// Sorted, so that the result does not depend on the file system; none for what is not a folder.
std::vector<fs::path> foldersIn(const fs::path& folder) {
  std::vector<fs::path> folders;
  std::size_t seen = 0;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (seen++ == maxEntriesOfFolder) break;
    std::error_code notSeen;
    if (entry->is_directory(notSeen)) folders.push_back(entry->path());
  }
  std::sort(folders.begin(), folders.end());
  return folders;
}

fs::path libraryIn(const fs::path& folder) {
  for (const char* kind : libraryKinds) {
    fs::path library = folder / kind / "libjvm.so";
    if (isFile(library)) return library;
  }
  return {};
}

fs::path libraryOf(const fs::path& home) {
  for (const LibraryPlace& place : libraryPlaces) {
    const fs::path folder = home / place.folder;
    if (!isFolder(folder)) continue;
    if (!place.byArchitecture) {
      if (fs::path library = libraryIn(folder); !library.empty()) return library;
      continue;
    }
    for (const fs::path& architecture : foldersIn(folder)) {
      if (fs::path library = libraryIn(architecture); !library.empty()) return library;
    }
  }
  return {};
}

/// The values of a "release" file: lines of NAME="value".
std::map<std::string, std::string> readReleaseFile(const fs::path& file) {
  std::map<std::string, std::string> values;
  std::istringstream lines(textOfFile(file, maxReleaseFileBytes));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    std::string value = line.substr(equals + 1);
    std::erase_if(value, [](char c) { return c == '"' || static_cast<unsigned char>(c) < ' '; });
    values[line.substr(0, equals)] = std::move(value);
  }
  return values;
}

/// A package of Java 8 may lack the file "release"; then the archive of its classes, which later
/// releases do not have, shows the release.
void readOldManifest(const fs::path& home, Jvm& jvm) {
  for (const char* archive : {"jre/lib/rt.jar", "lib/rt.jar"}) {
    const Manifest manifest = manifestOf(home / archive);
    if (manifest.empty()) continue;
    jvm.version = attributeOf(manifest, "Implementation-Version");
    jvm.vendor = attributeOf(manifest, "Implementation-Vendor");
    return;
  }
}

/// The numbers of a version in order; without the "1" in front of Java 8 and older.
std::vector<unsigned> numbersOf(std::string_view version) {
  std::vector<unsigned> numbers;
  bool inNumber = false;
  for (const char c : version) {
    // What follows is no part of the order: "17.0.15+6", "21-ea".
    if (c == '+' || c == '-') break;
    const bool digit = c >= '0' && c <= '9';
    if (digit && !inNumber) numbers.push_back(0);
    if (digit) numbers.back() = numbers.back() * 10 + static_cast<unsigned>(c - '0');
    inNumber = digit;
  }
  if (numbers.size() > 1 && numbers.front() == 1) numbers.erase(numbers.begin());
  return numbers;
}

bool isNewer(const Jvm& left, const Jvm& right) {
  const auto leftNumbers = numbersOf(left.version);
  const auto rightNumbers = numbersOf(right.version);
  return leftNumbers != rightNumbers ? leftNumbers > rightNumbers : left.home < right.home;
}

/// A distribution keeps names without version numbers (default-java, current, an unversioned link)
/// pointing to what it updates.
bool survivesLonger(const fs::path& left, const fs::path& right) {
  const auto digits = [](const fs::path& path) {
    return std::count_if(path.native().begin(), path.native().end(),
                         [](char c) { return c >= '0' && c <= '9'; });
  };
  const auto leftDigits = digits(left);
  const auto rightDigits = digits(right);
  return leftDigits != rightDigits ? leftDigits < rightDigits : left < right;
}

class Search {
 public:
  /// A folder that is not the home of a JVM is ignored.
  bool add(const fs::path& folder, const std::string& foundBy) {
    std::error_code error;
    fs::path home = fs::absolute(folder, error).lexically_normal();
    if (!home.has_filename()) home = home.parent_path();
    std::optional<Jvm> jvm = jvmAt(home);
    if (!jvm) return false;
    const fs::path real = fs::canonical(jvm->library, error);
    const auto [place, isNew] = jvms_.try_emplace(real, std::move(*jvm));
    if (isNew) {
      place->second.foundBy = foundBy;
    } else {
      addHome(place->second, home);
    }
    return true;
  }

  void addByPath(const std::string& path) {
    std::istringstream folders(path);
    for (std::string text; std::getline(folders, text, ':');) {
      const fs::path folder = text;
      std::error_code error;
      if (!folder.is_absolute() || !fs::exists(folder / "java", error)) continue;
      // A link among many programs leads to the home; the folder of a home need not be followed.
      if (folder.filename() == "bin" && add(folder.parent_path(), "PATH")) continue;
      add(fs::canonical(folder / "java", error).parent_path().parent_path(), "PATH");
    }
  }

  void addByFolder(const fs::path& folder) {
    if (add(folder, folder.string())) return;
    for (const fs::path& entry : foldersIn(folder)) {
      if (add(entry, folder.string())) continue;
      // Homebrew keeps a JDK's home there.
      if (const fs::path inner = entry / "libexec"; isFolder(inner)) add(inner, folder.string());
    }
  }

  std::vector<Jvm> sorted() {
    std::vector<Jvm> jvms;
    for (auto& [real, jvm] : jvms_) jvms.push_back(std::move(jvm));
    std::sort(jvms.begin(), jvms.end(), isNewer);
    return jvms;
  }

 private:
  static void addHome(Jvm& jvm, const fs::path& home) {
    if (std::find(jvm.homes.begin(), jvm.homes.end(), home) != jvm.homes.end()) return;
    std::vector<fs::path> homes = std::move(jvm.homes);
    homes.push_back(home);
    std::sort(homes.begin(), homes.end(), survivesLonger);
    const std::string foundBy = std::move(jvm.foundBy);
    if (std::optional<Jvm> better = jvmAt(homes.front())) jvm = std::move(*better);
    jvm.foundBy = foundBy;
    jvm.homes = std::move(homes);
  }

  std::map<fs::path, Jvm> jvms_;  ///< by the library's real path
};

}  // namespace

JvmPlaces usualJvmPlaces() {
  JvmPlaces places{.javaHome = variable("JAVA_HOME"), .path = variable("PATH"), .folders = {}};
  for (const char* folder : systemFolders) places.folders.emplace_back(folder);
  const std::string userHome = variable("HOME");
  for (const ToolFolder& tool : toolFolders) {
    fs::path folder = variable(tool.variable);
    if (folder.empty() && !userHome.empty()) folder = fs::path(userHome) / tool.inHome;
    if (!folder.empty()) places.folders.push_back(folder / tool.rest);
  }
  return places;
}

std::vector<Jvm> findJvms(const JvmPlaces& places) {
  Search search;
  if (!places.javaHome.empty()) search.add(places.javaHome, "JAVA_HOME");
  search.addByPath(places.path);
  for (const fs::path& folder : places.folders) search.addByFolder(folder);
  return search.sorted();
}

std::optional<Jvm> jvmAt(const fs::path& home) {
  Jvm jvm;
  jvm.library = libraryOf(home);
  if (jvm.library.empty()) return std::nullopt;
  jvm.home = home;
  jvm.homes = {home};
  if (fs::path java = home / "bin/java"; isFile(java)) jvm.java = std::move(java);
  std::map<std::string, std::string> values = readReleaseFile(home / "release");
  jvm.version = values["JAVA_VERSION"];
  jvm.vendor = values["IMPLEMENTOR"];
  if (jvm.version.empty()) readOldManifest(home, jvm);
  jvm.release = releaseOfVersion(jvm.version);
  return jvm;
}

std::optional<Jvm> jvmOfLibrary(const fs::path& library) {
  std::error_code error;
  std::optional<Jvm> found;
  // The folder "jre" inside a JDK is a home too, but the version is in the one around it.
  for (fs::path folder = library.parent_path(); folder.has_relative_path();
       folder = folder.parent_path()) {
    std::optional<Jvm> jvm = jvmAt(folder);
    if (!jvm || !fs::equivalent(jvm->library, library, error)) continue;
    if (!found || found->version.empty()) found = std::move(jvm);
  }
  return found;
}

std::set<std::string, std::less<>> modulesOf(const Jvm& jvm) {
  const std::string names = readReleaseFile(jvm.home / "release")["MODULES"];
  std::set<std::string, std::less<>> modules;
  for (const std::string_view name : piecesOf(names, " ")) modules.emplace(name);
  return modules;
}

unsigned releaseOfVersion(std::string_view version) {
  const std::vector<unsigned> numbers = numbersOf(version);
  return numbers.empty() ? 0 : numbers.front();
}
