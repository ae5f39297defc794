#include "kvf/import/StartTarget.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <utility>

#include "kvf/formats/Archive.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/formats/Manifest.h"
#include "kvf/formats/ModuleInfo.h"
#include "kvf/import/ImportError.h"
#include "kvf/import/ManifestStart.h"
#include "kvf/launch/ClassPathScan.h"
#include "kvf/launch/ModulePath.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

using FindClass = std::function<std::optional<FoundClass>(const std::string&)>;

/// Java 25 starts classes that the launcher does not.
void noteMissingMain(StartTarget& target, const FindClass& find) {
  std::string name = target.startClass;
  std::replace(name.begin(), name.end(), '.', '/');
  constexpr int maxSuperClasses = 64;
  for (int level = 0; level < maxSuperClasses; ++level) {
    const std::optional<FoundClass> found = find(name);
    if (!found) return;
    const auto parsed = parseClassFile(found->bytes);
    if (!parsed || parsed->staticMethod("main", "([Ljava/lang/String;)V") != nullptr) return;
    name = parsed->superName;
    if (name != "java/lang/Object") continue;
    target.losses.push_back(concat({"The start class ", printable(target.startClass),
                                    " has no static method main(String[]), which the launcher "
                                    "calls."}));
    return;
  }
}

ClassPathScan classPathOf(const JavaStart& start, const JavaCommandLine& line) {
  ClassPathElement element;
  const std::string& path = line.classPath ? line.classPath->text : ".";
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t end = std::min(path.find(':', at), path.size());
    element.expanded.push_back(end == at ? "." : path.substr(at, end - at));
    at = end + 1;
  }
  return {{element}, start.directory, ""};
}

StartTarget targetOfArchive(const JavaStart& start, const SourcedWord& what) {
  StartTarget target;
  const fs::path archive = fs::path(start.directory) / what.text;
  const std::string name = printable(what.text);
  if (Archive(archive).state() != ArchiveState::readable)
    throw ImportError(concat({archive.native(), " is not a readable archive"}));
  const Manifest manifest = manifestOf(archive);
  target.startClass = attributeOf(manifest, "Main-Class");
  if (target.startClass.empty())
    throw ImportError(concat({name, " names no start class in its manifest: java refuses it"}));
  for (std::string& option : optionsOfManifest(manifest, start.jvm->release))
    target.options.push_back({std::move(option), concat({"the manifest of ", name})});
  target.losses = lossesOfManifest(manifest);
  target.comment = concat({"Main-Class of ", name, " (", what.from, ")."});
  return target;
}

/// Where the module of that name lies, on the module path or in the JDK.
std::string placeOfModule(const std::string& name, const ModulePath& path, const JavaStart& start) {
  if (const FoundModule* found = path.find(name)) return found->where;
  return start.jvm->home / "jmods" / (name + ".jmod");
}

/// What java reads there; of an archive that declares no module, the manifest. Empty: nothing.
std::string mainClassOfModule(const std::string& place) {
  const Archive archive(place);
  const bool isArchive = archive.state() == ArchiveState::readable;
  const auto bytes = isArchive ? moduleInfoIn(archive) : moduleInfoIn(fs::path(place));
  if (!bytes) return isArchive ? attributeOf(manifestOf(place), "Main-Class") : "";
  const auto parsed = parseClassFile(*bytes);
  std::string name(parsed && parsed->module ? parsed->module->mainClass : "");
  std::replace(name.begin(), name.end(), '/', '.');
  return name;
}

StartTarget targetOfModule(const JavaStart& start, const SourcedWord& what,
                           const ModulePath& path) {
  StartTarget target;
  const std::size_t slash = what.text.find('/');
  target.module = what.text.substr(0, slash);
  if (slash != std::string::npos) {
    target.startClass = what.text.substr(slash + 1);
    target.comment = concat(
        {"The start class and its module (", what.from, "), by the properties that java sets."});
    return target;
  }
  const std::string place = placeOfModule(target.module, path, start);
  std::error_code error;
  const auto refuse = [&](std::string_view why) {
    throw ImportError(concat(
        {shown(what.text), " (", what.from, ") ", why, ": give both, -m ", what.text, "/CLASS"}));
  };
  if (!fs::exists(place, error))
    refuse("is no module of the module path or of the JDK's folder jmods");
  target.startClass = mainClassOfModule(place);
  if (target.startClass.empty()) refuse("names no start class, so java refuses it");
  target.comment = concat({"The start class that ", printable(place), " names, and its module (",
                           what.from, "), by the properties that java sets."});
  return target;
}

}  // namespace

StartTarget startTargetOf(const JavaStart& start, const JavaCommandLine& line) {
  if (line.kind == JavaCommandLine::Kind::module) {
    std::vector<std::string> options;
    for (const SourcedWord& option : line.options) options.push_back(option.text);
    const ModulePath path(options, start.directory);
    StartTarget target = targetOfModule(start, line.what, path);
    noteMissingMain(target, [&](const std::string& name) { return path.findClass(name); });
    return target;
  }
  StartTarget target;
  if (line.kind == JavaCommandLine::Kind::archive) {
    target = targetOfArchive(start, line.what);
  } else {
    target.startClass = line.what.text;
    std::replace(target.startClass.begin(), target.startClass.end(), '/', '.');
    target.comment = concat({"The start class (", line.what.from, ")."});
  }
  const ClassPathScan scan = classPathOf(start, line);
  noteMissingMain(target, [&](const std::string& name) { return scan.find(name); });
  return target;
}
