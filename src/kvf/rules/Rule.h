#ifndef VELOX_KVF_RULES_RULE_H
#define VELOX_KVF_RULES_RULE_H

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "kvf/launch/Inspection.h"
#include "kvf/rules/Finding.h"

enum class Severity {
  error,    ///< changes what was asked for, or ends the launch, in every case
  warning,  ///< the application may run as it was meant
};

/// A file that an example needs beside its own.
struct ExampleFile {
  enum class Kind {
    text,
    link,         ///< to the content
    archive,      ///< the application's
    newerClass,   ///< the start class, for a Java that does not exist yet
    orphanClass,  ///< the start class, extending com.acme.BaseApp
    startScript,  ///< of kvf new, for an application acme
    unit,         ///< lines of [Service], each in place of the one with that key there
  };

  const char* path = nullptr;  ///< below the example's folder
  std::string_view content = {};
  std::size_t times = 1;  ///< how often the content is repeated
  Kind kind = Kind::text;
};

/// A mistake, or its remedy, as a user would have it: `kvf rules` shows it and the tests run
/// it. It stands in the folder of a sound application, with JAVA_HOME in the environment:
///
///     acme.kvf       java.library=%JAVA_HOME%/lib/server/libjvm.so
///                    velox.class.path.extended=%kvf.file.dir%/lib
///                    java.start.class=com.acme.Main
///     lib/acme.jar   the class com.acme.Main
///     libacme.so     the same as a native application
///     acme.service   Type=exec, PassEnvironment=JAVA_HOME, SuccessExitStatus=143 and
///                    ExecStart=%Y/bin/wrapper --propFile %Y/acme.kvf, where an example has a unit
///
struct Example {
  std::string_view note = {};   ///< in words: what the lines do not show, or what else to do
  std::string_view lines = {};  ///< of acme.kvf; each replaces the one with that key there
  const char* command = "kvf check acme.kvf";
  bool whole = false;         ///< the lines are all of acme.kvf
  bool openEnd = false;       ///< the last line has no line end
  ExampleFile files[3] = {};  ///< those with a path
};

/// "HEADtexttext...": for examples that take long.
template <std::size_t times, std::size_t headSize, std::size_t size>
constexpr auto repeated(const char (&head)[headSize], const char (&text)[size]) {
  std::array<char, headSize + times*(size - 1)> all = {};
  std::size_t at = 0;
  for (const char c : std::string_view(head)) all[at++] = c;
  for (std::size_t i = 0; i < times; ++i) {
    for (const char c : std::string_view(text)) all[at++] = c;
  }
  return all;
}

/// A rule, all of it in one place.
struct Rule {
  const char* id;
  Severity severity;
  const char* summary;      ///< one line
  const char* explanation;  ///< what the launcher makes of it
  Example example;          ///< has this mistake and no other
  Example remedy;           ///< has none
  /// Reports every place where the rule is broken.
  void (*check)(const Inspection& inspection, Report& report) = nullptr;
  /// The same for everything that is checked together, also a single launch.
  void (*compare)(std::span<const Inspection> inspections, Report& report) = nullptr;
};

/// The rules by what they are about.
std::span<const Rule> fileRules();
std::span<const Rule> escapeRules();
std::span<const Rule> keyRules();
std::span<const Rule> includeRules();
std::span<const Rule> variableRules();
std::span<const Rule> javaRules();
std::span<const Rule> startClassRules();
std::span<const Rule> moduleRules();
std::span<const Rule> nativeLibraryRules();
std::span<const Rule> classPathRules();
std::span<const Rule> memoryRules();
std::span<const Rule> optionRules();
std::span<const Rule> optionFormRules();
std::span<const Rule> optionPathRules();
std::span<const Rule> optionReleaseRules();
std::span<const Rule> optionValueRules();
std::span<const Rule> agentRules();
std::span<const Rule> jvmRules();
std::span<const Rule> classDataRules();
std::span<const Rule> launchRules();
std::span<const Rule> surroundingsRules();
std::span<const Rule> adjusterRules();
std::span<const Rule> sourceRules();
std::span<const Rule> shellRules();
std::span<const Rule> secretRules();
std::span<const Rule> memoryTotalRules();
std::span<const Rule> habitRules();
std::span<const Rule> unitRules();
std::span<const Rule> unitStopRules();
std::span<const Rule> unitAccessRules();

/// All of them, in that order.
std::vector<const Rule*> allRules();

/// The rule of that name, or null.
const Rule* findRule(std::string_view id);

const char* nameOf(Severity severity);

#endif
