#include "kvf/cds/ArchiveManifest.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <nlohmann/json.hpp>
#include <system_error>

#include "kvf/formats/BuildId.h"
#include "kvf/formats/Manifest.h"
#include "kvf/formats/Sha256.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"
#include "kvf/process/FileStamp.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

namespace {

constexpr int schema = 1;

/// Options that an archive with linked classes has to have been made with.
constexpr std::string_view moduleOptions[] = {"--add-modules",          "--add-opens",
                                              "--add-exports",          "--add-reads",
                                              "--enable-native-access", "--module-path"};
/// Options that every archive has to have been made with: they change the layout of objects.
constexpr std::string_view layoutOptions[] = {"-XX:+UseZGC",
                                              "-XX:+UseCompressedOops",
                                              "-XX:-UseCompressedOops",
                                              "-XX:+UseCompressedClassPointers",
                                              "-XX:-UseCompressedClassPointers",
                                              "-XX:+UseCompactObjectHeaders",
                                              "-XX:-UseCompactObjectHeaders",
                                              "-XX:ObjectAlignmentInBytes="};

bool startsWithOneOf(const std::string& option, const auto& starts) {
  return std::any_of(std::begin(starts), std::end(starts),
                     [&](std::string_view start) { return option.starts_with(start); });
}

std::vector<std::string> optionsThatMatter(const ArchiveKind& kind, const ClassDataLaunch& launch) {
  std::vector<std::string> options;
  const bool isLinked = kind.isLinked(launch.jvm.release);
  for (const std::string& option : launch.options) {
    if (startsWithOneOf(option, layoutOptions) ||
        (isLinked && startsWithOneOf(option, moduleOptions)))
      options.push_back(option);
  }
  return options;
}

std::string digestOf(const fs::path& file) {
  Sha256 digest;
  readInPieces(file, [&](std::string_view piece) { digest.add(piece); });
  return digest.digest();
}

/// The file as it is now, without a digest.
RecordedFile withStamp(const std::string& path, const FileStamp& stamp) {
  RecordedFile file;
  file.path = path;
  file.isThere = stamp.isThere;
  file.isFolder = stamp.isFolder;
  if (!file.isThere || file.isFolder) return file;
  file.bytes = static_cast<std::uint64_t>(stamp.bytes);
  file.seconds = stamp.seconds;
  return file;
}

RecordedFile stateOf(const std::string& path) {
  return withStamp(path, stampOf(path));
}

/// For a manifest. Throws where it cannot be told.
RecordedFile recordOf(const std::string& path) {
  const FileStamp stamp = stampOf(path);
  if (stamp.error != 0) throw FileError("look at", path, stamp.error);
  return withStamp(path, stamp);
}

/// The files that the Class-Path of jars' manifests names, with those that they name: a JVM
/// compares them, too.
std::vector<RecordedFile> referencedBy(const std::vector<std::string>& classPath) {
  std::vector<RecordedFile> files;
  forEachNamed(classPath, [&](std::size_t /*by*/, const ManifestElement& element) {
    files.push_back(recordOf(element.path));
    return true;
  });
  return files;
}

Json asJson(const RecordedFile& file) {
  if (!file.isThere) return {{"path", file.path}, {"missing", true}};
  if (file.isFolder) return {{"path", file.path}, {"folder", true}};
  return {{"path", file.path},
          {"bytes", file.bytes},
          {"changed", file.seconds},
          {"sha256", file.digest}};
}

RecordedFile recordedFile(const Json& json) {
  RecordedFile file;
  file.path = json.at("path");
  file.isThere = !json.value("missing", false);
  file.isFolder = json.value("folder", false);
  if (!file.isThere || file.isFolder) return file;
  file.bytes = json.at("bytes");
  file.seconds = json.at("changed");
  file.digest = json.at("sha256");
  return file;
}

/// Those that a JVM compares: files that were missing and still are, and folders, are left out.
std::vector<RecordedFile> comparedOf(std::vector<RecordedFile> files) {
  std::erase_if(files, [](const RecordedFile& file) { return !file.isThere || file.isFolder; });
  return files;
}

std::string misfitOf(const RecordedFile& then, const RecordedFile& now, bool movable, bool deep) {
  const bool isSame = movable ? fs::path(then.path).filename() == fs::path(now.path).filename()
                              : then.path == now.path;
  if (!isSame) return now.path + " was not on the class path when it was written";
  if (then.bytes != now.bytes || then.seconds != now.seconds)
    return now.path + " has changed since it was written";
  if (deep && digestOf(now.path) != then.digest) {
    return now.path +
           " has changed since it was written, but has its former size and time: the JVM would run "
           "its former code";
  }
  return {};
}

/// Files may have been added at the end.
void compareClassPaths(const ArchiveManifest& manifest, const ClassDataLaunch& launch, bool deep,
                       std::vector<std::string>& misfits) {
  const std::vector<RecordedFile> then = comparedOf(manifest.classPath);
  std::vector<RecordedFile> now;
  std::transform(launch.classPath.begin(), launch.classPath.end(), std::back_inserter(now),
                 stateOf);
  now = comparedOf(std::move(now));
  for (const RecordedFile& file : manifest.classPath) {
    if (!file.isThere && stateOf(file.path).isThere)
      misfits.push_back(file.path + " was not there when it was written");
  }
  for (const RecordedFile& file : manifest.referenced) {
    if (stateOf(file.path) != file && misfits.empty())
      misfits.push_back(file.path + " has changed since it was written");
  }
  for (std::size_t i = 0; i < then.size() && misfits.empty(); ++i) {
    if (i == now.size()) {
      misfits.push_back(then[i].path + " is no longer on the class path");
      return;
    }
    const bool movable = launch.jvm.release >= firstWithMovableJars;
    const std::string misfit = misfitOf(then[i], now[i], movable, deep);
    if (!misfit.empty()) misfits.push_back(misfit);
  }
}

/// Of a library that this user may not read the version has to do.
std::string readableBuildId(const fs::path& library) {
  try {
    return buildIdOf(library);
  } catch (const FileError&) {
    return {};
  }
}

}  // namespace

fs::path manifestFileOf(const fs::path& archive) {
  return archive.native() + ".manifest";
}

ArchiveManifest manifestOf(const ArchiveKind& kind, const fs::path& archive,
                           const ClassDataLaunch& launch, const TrainingRun& training) {
  ArchiveManifest manifest;
  manifest.kind = kind.name;
  const RecordedFile written = recordOf(archive);
  if (!written.isThere) throw FileError("find", archive, ENOENT);
  manifest.archiveBytes = written.bytes;
  manifest.javaVersion = launch.jvm.version;
  manifest.buildId = buildIdOf(launch.jvm.library);
  manifest.options = optionsThatMatter(kind, launch);
  for (const std::string& element : launch.classPath) {
    RecordedFile& file = manifest.classPath.emplace_back(recordOf(element));
    if (file.isThere && !file.isFolder) file.digest = digestOf(element);
  }
  manifest.referenced = referencedBy(launch.classPath);
  manifest.training = training;
  return manifest;
}

std::string textOf(const ArchiveManifest& manifest) {
  Json classPath = Json::array();
  for (const RecordedFile& file : manifest.classPath) classPath.push_back(asJson(file));
  Json referenced = Json::array();
  for (const RecordedFile& file : manifest.referenced) referenced.push_back(asJson(file));
  Json json = {{"schema", schema},
               {"kind", manifest.kind},
               {"bytes", manifest.archiveBytes},
               {"java", {{"version", manifest.javaVersion}, {"buildId", manifest.buildId}}},
               {"options", manifest.options},
               {"classPath", classPath},
               {"referenced", referenced},
               {"classList", manifest.recordName},
               {"command", manifest.training.command},
               {"until", manifest.training.until}};
  if (manifest.training.runFor) json["runFor"] = *manifest.training.runFor;
  // A file name may be any bytes; one that is not text is not found again, and its entry is made
  // anew.
  return json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::optional<ArchiveManifest> parseArchiveManifest(std::string_view text) {
  try {
    const Json json = Json::parse(text);
    if (json.at("schema") != schema) return std::nullopt;
    ArchiveManifest manifest;
    manifest.kind = json.at("kind");
    manifest.archiveBytes = json.at("bytes");
    manifest.javaVersion = json.at("java").at("version");
    manifest.buildId = json.at("java").at("buildId");
    manifest.options = json.at("options").get<std::vector<std::string>>();
    for (const Json& file : json.at("classPath")) manifest.classPath.push_back(recordedFile(file));
    for (const Json& file : json.at("referenced"))
      manifest.referenced.push_back(recordedFile(file));
    manifest.recordName = json.at("classList");
    manifest.training.command = json.at("command").get<std::vector<std::string>>();
    manifest.training.until = json.at("until");
    if (json.contains("runFor")) manifest.training.runFor = json.at("runFor").get<unsigned>();
    return manifest;
  } catch (const Json::exception&) {
    return std::nullopt;
  }
}

std::optional<ArchiveManifest> readManifest(const fs::path& archive) {
  const std::string text = textOfFile(manifestFileOf(archive));
  return text.empty() ? std::nullopt : parseArchiveManifest(text);
}

std::vector<std::string> manifestMisfits(const ArchiveManifest& manifest, const fs::path& archive,
                                         const ClassDataLaunch& launch, bool deep) {
  const RecordedFile state = stateOf(archive);
  if (!state.isThere) return {"there is no such file"};
  if (state.bytes != manifest.archiveBytes)
    return {"it is not the one that its manifest describes"};
  std::vector<std::string> misfits;
  const std::string buildId = readableBuildId(launch.jvm.library);
  const bool isOther = buildId.empty() || manifest.buildId.empty()
                           ? launch.jvm.version != manifest.javaVersion
                           : buildId != manifest.buildId;
  if (isOther) misfits.push_back("another JVM wrote it: Java " + manifest.javaVersion);
  const ArchiveKind* kind = findArchiveKind(manifest.kind);
  if (kind != nullptr && !isOther && optionsThatMatter(*kind, launch) != manifest.options)
    misfits.emplace_back("it was written with other options for modules or the object layout");
  compareClassPaths(manifest, launch, deep, misfits);
  return misfits;
}
