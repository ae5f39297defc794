#include "kvf/launch/ModulePath.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kvf/formats/Archive.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/formats/Manifest.h"
#include "kvf/formats/ModuleInfo.h"
#include "kvf/text/Text.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view modulePathPrefix = "--module-path=";
constexpr std::string_view addModules = "--add-modules=";
/// What java sets for -m: the JVM begins with this module.
constexpr std::string_view mainModule = "-Djdk.module.main=";
constexpr std::string_view archiveSuffix = ".jar";
constexpr std::size_t maxModules = 10000;

bool isWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

std::optional<FoundModule> declaredModule(const std::string& bytes, const std::string& where) {
  const std::optional<ClassFile> parsed = parseClassFile(bytes);
  if (!parsed || !parsed->module) return std::nullopt;
  const ModuleDeclaration& declared = *parsed->module;
  return FoundModule{.name = std::string(declared.name),
                     .where = where,
                     .required = {declared.required.begin(), declared.required.end()},
                     .provides = declared.provides};
}

std::optional<FoundModule> moduleOfArchive(const std::string& path) {
  const Archive archive(path);
  if (archive.state() != ArchiveState::readable) return std::nullopt;
  if (const auto bytes = moduleInfoIn(archive)) return declaredModule(*bytes, path);
  std::string name = attributeOf(manifestOf(path), "Automatic-Module-Name");
  if (name.empty()) name = automaticModuleName(fs::path(path).filename().native());
  return FoundModule{.name = std::move(name), .where = path, .required = {}, .isAutomatic = true};
}

std::optional<FoundModule> moduleOfFolder(const std::string& path) {
  const auto bytes = moduleInfoIn(fs::path(path));
  return bytes ? declaredModule(*bytes, path) : std::nullopt;
}

}  // namespace

std::string_view modulePathIn(const std::vector<std::string>& options) {
  const auto last = std::find_if(options.rbegin(), options.rend(), [&](const std::string& option) {
    return option.starts_with(modulePathPrefix);
  });
  if (last == options.rend()) return {};
  return std::string_view(*last).substr(modulePathPrefix.size());
}

std::string automaticModuleName(std::string_view fileName) {
  if (fileName.ends_with(archiveSuffix)) fileName.remove_suffix(archiveSuffix.size());
  // A version begins with a dash and digits, up to a dot or the end.
  for (std::size_t dash = 0; (dash = fileName.find('-', dash)) != std::string_view::npos; ++dash) {
    const std::size_t end =
        std::min(fileName.find_first_not_of("0123456789", dash + 1), fileName.size());
    if (end == dash + 1 || (end < fileName.size() && fileName[end] != '.')) continue;
    fileName = fileName.substr(0, dash);
    break;
  }
  std::string name;
  for (const char c : fileName) {
    if (isWordCharacter(c)) {
      name += c;
    } else if (!name.empty() && name.back() != '.') {
      name += '.';
    }
  }
  if (name.ends_with('.')) name.pop_back();
  return name;
}

bool ModulePath::isSpokenOf(const std::vector<std::string>& options) {
  return std::any_of(options.begin(), options.end(), [](const std::string& option) {
    return option.starts_with(modulePathPrefix) || option.starts_with(addModules);
  });
}

ModulePath::ModulePath(const std::vector<std::string>& options, const std::string& directory) {
  for (const std::string& option : options) {
    if (option.starts_with(mainModule)) roots_.emplace(option.substr(mainModule.size()));
    if (!option.starts_with(addModules)) continue;
    for (const std::string_view name :
         piecesOf(std::string_view(option).substr(addModules.size()), ","))
      roots_.emplace(name);
  }
  allAreRoots_ = roots_.contains("ALL-MODULE-PATH");
  for (const std::string_view element : piecesOf(modulePathIn(options), ":")) {
    const bool isAbsolute = element.starts_with('/');
    addElement(isAbsolute ? std::string(element) : concat({directory, "/", element}));
  }
  std::vector<ClassPathElement> places;
  for (const FoundModule& module : modules_)
    places.push_back({module.where, false, {module.where}});
  scan_.emplace(places, directory, "");
}

void ModulePath::addElement(const std::string& path) {
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    if (auto module = moduleOfArchive(path)) add(std::move(*module));
    return;
  }
  if (auto module = moduleOfFolder(path)) {
    add(std::move(*module));
    return;
  }
  std::vector<std::string> entries;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entries.size() < maxModules) entries.push_back(entry->path());
  }
  std::sort(entries.begin(), entries.end());
  for (const std::string& entry : entries) {
    auto module = fs::is_directory(entry, error)   ? moduleOfFolder(entry)
                  : entry.ends_with(archiveSuffix) ? moduleOfArchive(entry)
                                                   : std::nullopt;
    if (module) add(std::move(*module));
  }
}

void ModulePath::add(FoundModule module) {
  if (find(module.name) == nullptr) modules_.push_back(std::move(module));
}

const FoundModule* ModulePath::find(std::string_view name) const {
  const auto found = std::find_if(modules_.begin(), modules_.end(),
                                  [&](const FoundModule& module) { return module.name == name; });
  return found == modules_.end() ? nullptr : &*found;
}

std::optional<FoundClass> ModulePath::findClass(const std::string& name) const {
  return scan_->find(name);
}

const FoundModule* ModulePath::moduleAt(std::string_view where) const {
  const auto found = std::find_if(modules_.begin(), modules_.end(),
                                  [&](const FoundModule& module) { return module.where == where; });
  return found == modules_.end() ? nullptr : &*found;
}

std::string ModulePath::nearestClass(const std::string& name) const {
  return scan_->nearest(name);
}

bool ModulePath::mayBeResolved(const FoundModule& module) const {
  if (allAreRoots_) return true;
  std::vector<const FoundModule*> queue;
  std::set<const FoundModule*> resolved;
  const auto take = [&](const FoundModule* one) {
    if (one != nullptr && resolved.insert(one).second) queue.push_back(one);
  };
  // A module that provides a service is resolved with one that uses it.
  for (const FoundModule& one : modules_)
    if (one.provides || roots_.contains(one.name)) take(&one);
  while (!queue.empty()) {
    const FoundModule& next = *queue.back();
    queue.pop_back();
    for (const std::string& name : next.required) take(find(name));
    // One automatic module resolves all the others.
    for (const FoundModule& one : modules_)
      if (next.isAutomatic && one.isAutomatic) take(&one);
  }
  return resolved.contains(&module);
}
