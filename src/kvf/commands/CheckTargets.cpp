#include "kvf/commands/CheckTargets.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string_view>

#include <unistd.h>

#include "foundation/PropertyKeys.h"
#include "kvf/commands/Launches.h"
#include "kvf/launch/Inspector.h"
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

  std::vector<Inspection> inspections() && { return std::move(inspections_); }

 private:
  void take(std::vector<Inspection> more) {
    std::move(more.begin(), more.end(), std::back_inserter(inspections_));
  }

  /// True also for one that is only where systemd looks.
  static bool isUnit(const std::string& target) { return target.ends_with(serviceSuffix); }

  void addStandardInput() {
    refuseOther(stdinName_, given_.at(fs::weakly_canonical(fs::absolute(stdinName_))));
    inspections_.push_back(inspectFile(stdinName_, {}, given_));
  }

  void addFile(const std::string& file) {
    if (::access(file.c_str(), R_OK) != 0)
      throw std::runtime_error(shown(file) + " cannot be read");
    if (!seen_.insert(identityOf(file)).second) return;
    constexpr std::size_t enough = 4;
    const std::string start = textOfFile(file, enough);
    if (start.starts_with("#!") && !file.ends_with(propertiesSuffix)) {
      inspections_.push_back(
          inspectTyped({fs::path(file).parent_path().empty() ? "./" + file : file}, given_));
      return;
    }
    refuseOther(file, textOfFile(file, 16));
    inspections_.push_back(inspectFile(file, {}, given_));
  }

  void addFolder(const std::string& folder) {
    std::vector<std::string> files;
    const auto options = fs::directory_options::skip_permission_denied;
    for (const auto& entry : fs::recursive_directory_iterator(folder, options)) {
      const fs::path& path = entry.path();
      if (path.extension() == propertiesSuffix && path.filename() != "global.kvf" &&
          entry.is_regular_file())
        files.push_back(path);
    }
    if (files.empty()) throw std::runtime_error(shown(folder) + " has no .kvf file in it or below");
    std::sort(files.begin(), files.end());
    std::vector<Inspection> launches;
    for (const std::string& file : files)
      if (seen_.insert(identityOf(file)).second) launches.push_back(inspectFile(file, {}, given_));
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
  std::vector<Inspection> inspections_;
};

}  // namespace

std::vector<Inspection> inspectTargets(const std::vector<std::string>& targets,
                                       const std::string& stdinName, const GivenTexts& given) {
  Targets all(stdinName, given);
  for (const std::string& target : targets) all.add(target);
  return std::move(all).inspections();
}
