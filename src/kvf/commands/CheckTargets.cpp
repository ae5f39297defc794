#include "kvf/commands/CheckTargets.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "foundation/PropertyKeys.h"
#include "kvf/commands/Launches.h"
#include "kvf/launch/Inspector.h"
#include "kvf/process/FileError.h"
#include "kvf/service/UnitFiles.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

using namespace std::literals;

constexpr std::string_view propertiesSuffix = ".kvf";

/// The first bytes of files that are not properties files.
struct OtherFormat {
  std::string_view start;
  std::string_view what;
  bool whateverItsName;  ///< no properties file begins so, even if it is called one
};

constexpr OtherFormat otherFormats[] = {
    {"\x7F"
     "ELF"sv,
     "a program or a library", true},
    {"PK\x03\x04"sv, "an archive", true},
    {"\x1F\x8B"sv, "a compressed file", true},
    {"\xCA\xFE\xBA\xBE"sv, "a Java class", true},
    {"<?xml"sv, "XML", true},
    {"<"sv, "XML", false},
    {"{"sv, "JSON", false},
    {"---\n"sv, "YAML", false},
    {"#!"sv, "a script", false},
    {"[Unit]\n"sv, "a systemd unit, whose name does not end in .service", false},
};

struct OtherSuffix {
  std::string_view suffix;
  std::string_view what;
};

constexpr OtherSuffix otherSuffixes[] = {
    {".yaml", "YAML"},
    {".yml", "YAML"},
    {".java", "Java source"},
    {".timer", "a systemd unit of another kind; give the .service"},
    {".socket", "a systemd unit of another kind; give the .service"},
    {".path", "a systemd unit of another kind; give the .service"},
    {".target", "a systemd unit of another kind; give the .service"},
};

/// What the file is instead of a properties file; empty: it may be one.
std::string_view otherThanProperties(const std::string& name, std::string_view text) {
  const bool isCalledProperties = name.ends_with(propertiesSuffix);
  for (const OtherFormat& format : otherFormats)
    if (text.starts_with(format.start) && (format.whateverItsName || !isCalledProperties))
      return format.what;
  for (const OtherSuffix& other : otherSuffixes)
    if (name.ends_with(other.suffix)) return other.what;
  return {};
}

void refuseOther(const std::string& name, std::string_view text) {
  const std::string_view what = otherThanProperties(name, text);
  if (!what.empty())
    throw std::runtime_error(concat({shown(name), " is ", what, ", not a properties file"}));
}

std::string identityOf(const std::string& file) {
  std::error_code error;
  const fs::path real = fs::canonical(file, error);
  return error ? file : real.string();
}

/// Calls visit(path) for all below the folder that is not a folder. Links to folders are not
/// followed; what of the folders below cannot be read is passed over.
template <class Visit>
void forEachFileBelow(const fs::path& top, Visit&& visit) {
  std::vector<fs::path> folders = {top};
  while (!folders.empty()) {
    const fs::path folder = std::move(folders.back());
    folders.pop_back();
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    if (error && folder == top) throw FileError("read", folder, error.value());
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
      std::error_code unknown;
      if (fs::is_directory(entries->symlink_status(unknown))) {
        folders.push_back(entries->path());
      } else {
        visit(entries->path());
      }
    }
  }
}

/// True for the name of a launch's file. An editor marks an open file by a link of that name behind
/// ".#".
bool isNameOfLaunch(const fs::path& file) {
  const std::string name = file.filename();
  return file.extension() == propertiesSuffix && name != "global.kvf" && !name.starts_with(".#");
}

/// Why a file cannot be a properties file; empty: it is a regular file, or leads to one.
std::string complaintAbout(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (fs::is_regular_file(status)) return {};
  const int number = error ? error.value() : fs::exists(status) ? 0 : ENOENT;
  return number == 0 ? shown(file.native()) + " is not a file"
                     : std::string(FileError("read", file, number).what());
}

class Targets {
 public:
  Targets(const std::string& stdinName, const GivenTexts& given)
      : stdinName_(stdinName), given_(given) {}

  void add(const std::string& target) {
    std::error_code error;
    if (target == "-") {
      addStandardInput();
    } else if (fs::is_directory(target, error)) {
      addFolder(target);
    } else if (isUnit(target)) {
      if (seen_.insert(target).second) take(inspectUnit(target, given_));
    } else {
      addFile(target);
    }
  }

  InspectedTargets inspected() && { return std::move(inspected_); }

 private:
  void take(std::vector<Inspection> more) {
    std::move(more.begin(), more.end(), std::back_inserter(inspected_.inspections));
  }

  /// True also for one that is only where systemd looks.
  static bool isUnit(const std::string& target) { return target.ends_with(serviceSuffix); }

  void addStandardInput() {
    refuseOther(stdinName_, given_.at(fs::weakly_canonical(fs::absolute(stdinName_))));
    inspected_.inspections.push_back(inspectFile(stdinName_, {}, given_));
  }

  void addFile(const std::string& file) {
    if (::access(file.c_str(), R_OK) != 0)
      throw std::runtime_error(shown(file) + " cannot be read");
    if (!seen_.insert(identityOf(file)).second) return;
    constexpr std::size_t enough = 4;
    const std::string start = textOfFile(file, enough);
    if (start.starts_with("#!") && !file.ends_with(propertiesSuffix)) {
      inspected_.inspections.push_back(
          inspectTyped({fs::path(file).parent_path().empty() ? "./" + file : file}, given_));
      return;
    }
    refuseOther(file, textOfFile(file, 16));
    inspected_.inspections.push_back(inspectFile(file, {}, given_));
  }

  void addFolder(const std::string& folder) {
    std::vector<std::string> files;
    forEachFileBelow(folder, [&](const fs::path& file) {
      if (isNameOfLaunch(file)) files.push_back(file);
    });
    if (files.empty()) throw std::runtime_error(shown(folder) + " has no .kvf file in it or below");
    std::sort(files.begin(), files.end());
    std::vector<Inspection> launches;
    for (const std::string& file : files) {
      std::string complaint = complaintAbout(file);
      if (complaint.empty() && !seen_.insert(identityOf(file)).second) continue;
      try {
        if (complaint.empty()) launches.push_back(inspectFile(file, {}, given_));
      } catch (const EndlessSource& endless) {
        complaint = endless.what();
      }
      if (!complaint.empty()) inspected_.complaints.push_back(std::move(complaint));
    }
    dropParts(launches);
    take(std::move(launches));
  }

  /// Leaves out files that others include and that have nothing to run themselves.
  static void dropParts(std::vector<Inspection>& launches) {
    std::set<std::string> included;
    for (const Inspection& launch : launches)
      for (const SourceFile& file : launch.run().files)
        if (file.includedAt) included.insert(identityOf(file.name));
    std::erase_if(launches, [&](const Inspection& launch) {
      const bool runs = launch.isJava() || launch.value(keys::applicationLibrary);
      return !runs && launch.hasMainFile() &&
             included.contains(identityOf(launch.run().files.front().name));
    });
  }

  const std::string& stdinName_;
  const GivenTexts& given_;
  std::set<std::string> seen_;
  InspectedTargets inspected_;
};

}  // namespace

InspectedTargets inspectTargets(const std::vector<std::string>& targets,
                                const std::string& stdinName, const GivenTexts& given) {
  Targets all(stdinName, given);
  for (const std::string& target : targets) all.add(target);
  return std::move(all).inspected();
}
