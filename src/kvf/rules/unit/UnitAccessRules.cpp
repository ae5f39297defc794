#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>

#include <sys/stat.h>
#include <sys/xattr.h>

#include "foundation/PropertyKeys.h"
#include "kvf/rules/unit/UnitSubject.h"
#include "kvf/service/Account.h"
#include "kvf/text/Text.h"

// What a service unit lets a launch read and write.

namespace {

namespace fs = std::filesystem;

bool isBelow(const std::string& path, std::string_view folder) {
  while (folder.size() > 1 && folder.ends_with('/')) folder.remove_suffix(1);
  return folder == "/" ||
         (path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/'));
}

bool isBelowAny(const std::string& path, const std::vector<std::string>& folders) {
  return std::any_of(folders.begin(), folders.end(), [&](std::string folder) {
    while (folder.starts_with('-') || folder.starts_with('+')) folder.erase(0, 1);
    return isBelow(path, folder.substr(0, folder.find(':')));
  });
}

bool isDynamic(const ServiceUnit& unit) {
  return unit.isOn("DynamicUser");
}

/// A setting that takes paths away; KEY= and the text are a sentence.
struct HidingRow {
  const char* key;
  bool (*hides)(const ServiceUnit& unit, const std::string& path);
  const char* text;
};

constexpr HidingRow hidingRows[] = {
    {"ProtectHome",
     [](const ServiceUnit& unit, const std::string& path) {
       const std::string value = unit.value("ProtectHome");
       return (unit.isOn("ProtectHome") || value == "tmpfs") &&
              isBelowAny(path, {"/home", "/root", "/run/user"});
     },
     "shows the service nothing of /home, /root and /run/user"},
    {"PrivateTmp",
     [](const ServiceUnit& unit, const std::string& path) {
       const std::string value = unit.value("PrivateTmp");
       return (unit.isOn("PrivateTmp") || value == "disconnected") &&
              isBelowAny(path, {"/tmp", "/var/tmp"});
     },
     "gives the service an empty /tmp and /var/tmp"},
    {"DynamicUser",
     [](const ServiceUnit& unit, const std::string& path) {
       return isDynamic(unit) && isBelowAny(path, {"/tmp", "/var/tmp"});
     },
     "gives the service an empty /tmp and /var/tmp"},
    {"InaccessiblePaths",
     [](const ServiceUnit& unit, const std::string& path) {
       return isBelowAny(path, unit.words("InaccessiblePaths"));
     },
     "covers it"},
    {"TemporaryFileSystem",
     [](const ServiceUnit& unit, const std::string& path) {
       return isBelowAny(path, unit.words("TemporaryFileSystem"));
     },
     "covers it"},
};

/// Visible again in spite of all those.
bool isBound(const ServiceUnit& unit, const std::string& path) {
  for (const char* key : {"BindPaths", "BindReadOnlyPaths"}) {
    for (const std::string& word : unit.words(key)) {
      const std::size_t colon = word.find(':');
      const std::string target = colon == std::string::npos ? word : word.substr(colon + 1);
      if (isBelowAny(path, {target})) return true;
    }
  }
  return isBelowAny(path, unit.surroundings().madeFolders);
}

/// A file that the launch reads, and where it is named.
struct NeededFile {
  std::string path;
  Position at;
  bool isExecuted = false;
};

std::vector<NeededFile> neededFiles(const Inspection& launch) {
  std::vector<NeededFile> files;
  for (const SourceFile& file : launch.run().files) {
    if (file.global) continue;
    files.push_back(
        {launch.atLauncher(file.name), file.includedAt.value_or(launch.argumentPlaces.front())});
  }
  for (const char* key : {keys::javaLibrary, keys::applicationLibrary}) {
    const std::string library = launch.valueOf(key);
    if (!library.empty())
      files.push_back({launch.atApplication(library), launch.positionOf(key), true});
  }
  if (launch.classPath && launch.plan.classPathKey != nullptr) {
    for (const ScannedElement& element : launch.classPath->elements())
      if (element.kind != ScannedElement::Kind::missing)
        files.push_back({element.path, launch.positionOf(launch.plan.classPathKey)});
  }
  for (NeededFile& file : files) file.path = fs::path(file.path).lexically_normal().string();
  return files;
}

/// The first of the files that a row hides.
void reportHidden(const UnitSubject& subject, const std::vector<NeededFile>& files,
                  Report& report) {
  for (const HidingRow& row : hidingRows) {
    const auto file = std::find_if(files.begin(), files.end(), [&](const NeededFile& needed) {
      return row.hides(subject.unit, needed.path) && !isBound(subject.unit, needed.path);
    });
    if (file == files.end()) continue;
    report.fatal(subject.placeOf(row.key),
                 concat({row.key, "= ", row.text, ", and the launch needs ", shown(file->path),
                         " (", subject.launch.nameOf(file->at), "): move it below /opt or /srv, ",
                         "or name it in BindReadOnlyPaths="}));
  }
}

void reportNoExec(const UnitSubject& subject, const std::vector<NeededFile>& files,
                  Report& report) {
  for (const NeededFile& file : files) {
    const bool isNoExec = isBelowAny(file.path, subject.unit.words("NoExecPaths")) &&
                          !isBelowAny(file.path, subject.unit.words("ExecPaths"));
    if (!file.isExecuted || !isNoExec) continue;
    report.fatal(
        subject.placeOf("NoExecPaths"),
        concat({"NoExecPaths= covers ", shown(file.path), " (", subject.launch.nameOf(file.at),
                "), which then cannot be loaded: name its folder in ExecPaths="}));
  }
}

/// The numbers of a user and the groups of it.
struct Rights {
  unsigned user;
  std::vector<unsigned> groups;
};

/// Nothing for an account or a group that this machine does not have, which other rules report.
std::optional<Rights> rightsOf(const ServiceUnit& unit) {
  const std::optional<Account> account = accountOf(unit.value("User"));
  if (!account) return std::nullopt;
  Rights rights = {account->user, groupsOf(*account)};
  std::vector<std::string> names = unit.words("SupplementaryGroups");
  if (const std::string own = unit.value("Group"); !own.empty()) names.push_back(own);
  for (const std::string& name : names) {
    const std::optional<unsigned> group = groupOf(name);
    if (!group) return std::nullopt;
    rights.groups.push_back(*group);
  }
  return rights;
}

/// True when more than the mode decides who may use the file.
bool hasAccessList(const fs::path& path) {
  return ::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

bool mayUse(const Rights& rights, const fs::path& path, unsigned right) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0 || hasAccessList(path)) return true;
  const bool isOfGroup =
      std::find(rights.groups.begin(), rights.groups.end(), status.st_gid) != rights.groups.end();
  const unsigned shift = status.st_uid == rights.user ? 6U : isOfGroup ? 3U : 0U;
  return ((status.st_mode >> shift) & right) != 0;
}

/// The file, or the folder on the way to it, that the user may not use; empty: all may be used.
std::string barrierTo(const Rights& rights, const std::string& path) {
  constexpr unsigned mayRead = 4, mayEnter = 1;
  for (fs::path folder = path; folder.has_relative_path();) {
    folder = folder.parent_path();
    if (!mayUse(rights, folder, mayEnter)) return folder;
  }
  return mayUse(rights, path, mayRead) ? "" : path;
}

void reportUnreadable(const UnitSubject& subject, const std::vector<NeededFile>& files,
                      Report& report) {
  const std::optional<Rights> rights = rightsOf(subject.unit);
  if (!rights || rights->user == 0 || isDynamic(subject.unit)) return;
  for (const NeededFile& file : files) {
    const std::string barrier = barrierTo(*rights, file.path);
    if (barrier.empty()) continue;
    report.fatal(
        subject.placeOf("User"),
        concat({subject.unit.value("User"), " may not read ", shown(barrier),
                ", and the launch needs ", shown(file.path), " (", subject.launch.nameOf(file.at),
                "): give it to the user's group, with chgrp and chmod g+rX"}));
    return;
  }
}

/// The setting that makes the path read-only for the service; null: none does.
const char* protectorOf(const ServiceUnit& unit, const std::string& path) {
  const bool isException = isBelowAny(path, unit.words("ReadWritePaths")) ||
                           isBelowAny(path, unit.surroundings().madeFolders) ||
                           isBelowAny(path, {"/dev", "/proc", "/sys"});
  if (isException) return nullptr;
  const bool hasOwnTmp = unit.isOn("PrivateTmp") || isDynamic(unit);
  if (hasOwnTmp && isBelowAny(path, {"/tmp", "/var/tmp"})) return nullptr;
  const std::string system = unit.value("ProtectSystem");
  if (system == "strict") return "ProtectSystem";
  if (isDynamic(unit)) return "DynamicUser";
  if ((system == "full" || unit.isOn("ProtectSystem")) && isBelowAny(path, {"/usr", "/boot"}))
    return "ProtectSystem";
  if (system == "full" && isBelowAny(path, {"/etc"})) return "ProtectSystem";
  const bool isHome = isBelowAny(path, {"/home", "/root", "/run/user"});
  if (isHome && unit.value("ProtectHome") == "read-only") return "ProtectHome";
  return isBelowAny(path, unit.words("ReadOnlyPaths")) ? "ReadOnlyPaths" : nullptr;
}

void hidden(const Inspection& inspection, Report& report) {
  const std::optional<UnitSubject> subject = unitSubjectOf(inspection);
  if (!subject) return;
  const std::vector<NeededFile> files = neededFiles(inspection);
  reportHidden(*subject, files, report);
  reportNoExec(*subject, files, report);
  reportUnreadable(*subject, files, report);
}

void unwritable(const Inspection& inspection, Report& report) {
  const std::optional<UnitSubject> subject = unitSubjectOf(inspection);
  const std::string name = inspection.valueOf(keys::processIdFile);
  if (!subject || name.empty()) return;
  const std::string path = fs::path(inspection.atLauncher(name)).lexically_normal().string();
  const char* protector = protectorOf(subject->unit, path);
  if (protector == nullptr) return;
  report(inspection.positionOf(keys::processIdFile),
         concat({protector, "= of the unit makes the folder of ", shown(path),
                 " read-only: the launcher prints \"file ... can not access\" and runs without a ",
                 "process-ID file: write it below a RuntimeDirectory= of the unit"}));
}

constexpr Rule rules[] = {
    {.id = "unit-hides",
     .severity = Severity::error,
     .summary = "a unit that hides what the launch needs, or whose user may not read it",
     .explanation = "ProtectHome=, PrivateTmp= and the like hide folders from the service; with "
                    "User= it has only the rights of that user. Systemd itself reads the "
                    "EnvironmentFile=, with all rights.",
     .example = exampleOfUnit("InaccessiblePaths=%Y/lib"),
     .remedy = exampleOfUnit("InaccessiblePaths=/boot"),
     .check = hidden},
    {.id = "unit-writes",
     .severity = Severity::warning,
     .summary = "a process-ID file in a folder that the unit makes read-only",
     .explanation = "With ProtectSystem=strict or DynamicUser= a service may write only to its own "
                    "folders, such as that of RuntimeDirectory=.",
     .example = exampleOfUnit("ProtectSystem=full", "processID.file.name=/etc/acme.pid"),
     .remedy = exampleOfUnit("ProtectSystem=full\nRuntimeDirectory=acme",
                             "processID.file.name=/run/acme/acme.pid"),
     .check = unwritable},
};

}  // namespace

std::span<const Rule> unitAccessRules() {
  return rules;
}
