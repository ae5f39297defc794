#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/PropertyKeys.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// Options about modules, against the modules that there are.

namespace {

constexpr std::string_view addModules = "--add-modules=";
constexpr std::string_view mainModule = "-Djdk.module.main";

/// Options whose value begins with a module, which a JVM ignores with a warning when it has no such
/// module.
constexpr std::string_view ofModules[] = {"--add-opens=", "--add-exports=", "--add-reads="};

/// Modules also come from elsewhere, or not all of them count.
bool hasOtherModules(const std::vector<std::string>& options) {
  constexpr std::string_view prefixes[] = {
      "--upgrade-module-path=", "--patch-module=", "--limit-modules=", "-javaagent:"};
  return std::any_of(options.begin(), options.end(), [&](const std::string& option) {
    return std::any_of(std::begin(prefixes), std::end(prefixes),
                       [&](std::string_view prefix) { return option.starts_with(prefix); });
  });
}

/// The modules that the JVM of a launch may find; nothing when not all of them are known.
class KnownModules {
 public:
  static std::optional<KnownModules> of(const Inspection& inspection) {
    if (hasOtherModules(inspection.plan.options)) return std::nullopt;
    const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
    if (!jvm) return std::nullopt;
    KnownModules known;
    known.ofJvm_ = modulesOf(*jvm);
    if (known.ofJvm_.empty()) return std::nullopt;
    if (inspection.modulePath) known.path_ = &*inspection.modulePath;
    return known;
  }

  [[nodiscard]] bool has(std::string_view name) const {
    return name == "ALL-SYSTEM" || name == "ALL-DEFAULT" || name == "ALL-MODULE-PATH" ||
           ofJvm_.contains(name) || (path_ != nullptr && path_->find(name) != nullptr);
  }

  /// The module that was probably meant; empty: no name is near, or too many were asked for.
  [[nodiscard]] std::string nearest(std::string_view name) {
    if (left_ == 0) return {};
    --left_;
    std::vector<std::string_view> names(ofJvm_.begin(), ofJvm_.end());
    if (path_ != nullptr)
      for (const FoundModule& module : path_->modules()) names.emplace_back(module.name);
    return std::string(nearestName(name, names));
  }

 private:
  std::set<std::string, std::less<>> ofJvm_;
  const ModulePath* path_ = nullptr;
  int left_ = 20;
};

/// "neither among those of the JVM nor in --module-path".
std::string placesOf(const Inspection& inspection) {
  return modulePathIn(inspection.plan.options).empty()
             ? "not among those of the JVM, and there is no --module-path"
             : "neither among those of the JVM nor in --module-path";
}

/// The modules without which a JVM does not start.
std::vector<std::string_view> neededModules(std::string_view option) {
  if (option.starts_with(addModules)) return piecesOf(option.substr(addModules.size()), ",");
  if (option == mainModule) return {""};
  const bool isMain =
      option.starts_with(mainModule) && option.substr(mainModule.size()).starts_with('=');
  return isMain ? std::vector{option.substr(mainModule.size() + 1)}
                : std::vector<std::string_view>();
}

void moduleMissing(const Inspection& inspection, Report& report) {
  std::optional<KnownModules> known = KnownModules::of(inspection);
  if (!known) return;
  OptionPlaces places(inspection);
  const std::string missing = concat({" is ", placesOf(inspection)});
  for (const std::string& option : inspection.plan.options) {
    const std::string_view text = option;
    for (const std::string_view name : neededModules(option)) {
      if (known->has(name)) continue;
      report.fatal(places.of(option),
                   concat({"the module ", shown(name), " of ", shown(option), missing,
                           didYouMean(printable(known->nearest(name))),
                           ", and the JVM does not start: correct the name, or add its folder"}));
    }
    for (const std::string_view prefix : ofModules) {
      if (!text.starts_with(prefix)) continue;
      const std::string_view value = text.substr(prefix.size());
      const std::string_view name = value.substr(0, value.find_first_of("/="));
      if (name.empty() || known->has(name)) continue;
      report.harmless(
          places.of(option),
          concat({"the module ", shown(name), " of ", shown(option), missing,
                  didYouMean(printable(known->nearest(name))),
                  ", and the JVM ignores the option with a warning: correct or ", "remove it"}));
    }
  }
}

constexpr Rule rules[] = {
    {.id = "module-missing",
     .severity = Severity::error,
     .summary = "a module that the JVM does not find",
     .explanation =
         "The modules are those that the JVM's file \"release\" names and those in the archives "
         "and folders of --module-path. If one of --add-modules or jdk.module.main is missing, "
         "the JVM does not start; --add-opens and the like have no effect for a missing module.",
     .example = {.lines = "java.extended.properties=--add-modules=java.sqll"},
     .remedy = {.lines = "java.extended.properties=--add-modules=java.sql"},
     .check = moduleMissing},
};

}  // namespace

std::span<const Rule> moduleRules() {
  return rules;
}
