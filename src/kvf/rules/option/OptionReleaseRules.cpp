#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kvf/jvm/JavaProgramOptions.h"
#include "kvf/jvm/JvmNames.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// Options against releases of Java: that of the configured JVM, and another one on request.

namespace {

/// "which was removed in 14", or what is known instead.
std::string sinceWhen(const OptionHistory& history, unsigned release) {
  if (history.removedIn != 0 && history.removedIn <= release) {
    return concat({", which was removed in ", std::to_string(history.removedIn)});
  }
  if (const unsigned last = history.lastUsableBefore(release); last != 0) {
    return concat({", Java ", std::to_string(last), " did"});
  }
  const unsigned first = history.firstUsableAfter(release);
  return first == 0 ? std::string() : concat({", Java ", std::to_string(first), " does"});
}

std::string adviceFor(const OptionHistory& history) {
  const char* advice = insteadOf(history);
  return advice == nullptr ? std::string("remove it") : std::string(advice);
}

/// What a JVM does with an option that does not fit.
struct Misfit {
  enum class Kind { unknown, ignored, refused };

  Kind kind;
  std::string text;
};

/// The JVM that options are held against.
struct Target {
  std::string name;  ///< "Java 17"
  unsigned release = 0;
  bool runsInProcess = true;
  bool experimental = false;  ///< unlocked, so far
  bool diagnostic = false;
};

using Kind = Misfit::Kind;

bool endsLaunch(const Target& java, const Misfit& misfit) {
  return misfit.kind == Kind::refused || (misfit.kind == Kind::unknown && !java.runsInProcess);
}

/// Of an option that a JVM does not know.
Misfit unknownTo(const Target& java, const std::string& option, const std::string& since,
                 const std::string& advice) {
  return {Kind::unknown, concat({java.name, " does not know ", shown(option), since,
                                 java.runsInProcess ? "; --run then silently ignores it: "
                                                    : "; the program java ends: ",
                                 advice})};
}

/// Nothing for an option that fits.
std::optional<Misfit> misfit(const Target& java, const OptionHistory& history, OptionState state,
                             const std::string& option) {
  const std::string since = sinceWhen(history, java.release);
  const std::string advice = adviceFor(history);
  const auto needs = [&](const char* kind) {
    const bool isIgnored = java.runsInProcess && ignoresUnusableFlags(java.release);
    return Misfit{
        isIgnored ? Kind::ignored : Kind::refused,
        concat({java.name, isIgnored ? " silently ignores " : " refuses ", shown(option),
                " unless -XX:+Unlock", kind, "VMOptions comes before it: write that, too"})};
  };
  switch (state) {
    case OptionState::unknown:
      return unknownTo(java, option, since, advice);
    case OptionState::ignored:
      return Misfit{Kind::ignored, concat({java.name, " ignores with a warning ", shown(option),
                                           since, ": ", advice})};
    case OptionState::refused:
      return Misfit{Kind::refused, concat({java.name, " does not start with ", shown(option), since,
                                           ": ", advice})};
    case OptionState::experimental:
      return java.experimental ? std::nullopt : std::optional(needs("Experimental"));
    case OptionState::diagnostic:
      return java.diagnostic ? std::nullopt : std::optional(needs("Diagnostic"));
    case OptionState::taken:
    case OptionState::deprecated:
      return std::nullopt;
  }
  return std::nullopt;
}

void unlock(const std::string& option, Target& java) {
  if (option == "-XX:+UnlockExperimentalVMOptions") java.experimental = true;
  if (option == "-XX:+UnlockDiagnosticVMOptions") java.diagnostic = true;
}

/// The release that is asked for; nothing: none is, or there are no options of a JVM.
std::optional<Target> askedRelease(const Inspection& inspection) {
  if (inspection.javaRelease == 0 || !inspection.isJava() || !inspection.startsApplication())
    return std::nullopt;
  return Target{.name = concat({"Java ", std::to_string(inspection.javaRelease)}),
                .release = inspection.javaRelease,
                .runsInProcess = inspection.runsInProcess()};
}

/// What the release is known to do with the option.
std::optional<OptionState> stateIn(const Target& java,
                                   const std::optional<OptionHistory>& history) {
  return history ? history->in(java.release) : std::nullopt;
}

/// "-Xfoo" of "-Xfoo:bar"; empty: not such an option, or too short for a name.
std::string_view nameOfOption(const std::string& option) {
  const bool isNamed =
      option.starts_with("--") || (option.starts_with("-X") && !option.starts_with("-XX:"));
  // The name of an agent follows at once.
  const bool isAgent = option.starts_with("-Xrun");
  if (!isNamed || isAgent || isOfJavaProgram(option) || setsSize(option)) return {};
  constexpr std::size_t shortest = 5;
  const auto isOfName = [](char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '-';
  };
  const auto end = std::find_if_not(option.begin(), option.end(), isOfName);
  const auto length = static_cast<std::size_t>(end - option.begin());
  return length < shortest ? std::string_view() : std::string_view(option).substr(0, length);
}

/// An option whose name is not in the library of the JVM.
std::optional<Misfit> misfitByName(const Target& java, const std::string& option, JvmNames& names) {
  if (const std::string_view flag = flagOf(option); !flag.empty()) {
    if (!names.lacksFlag(flag)) return std::nullopt;
    const auto history = historyOf(option);
    if (history && history->in(java.release) == OptionState::unknown)
      return misfit(java, *history, OptionState::unknown, option);
    return unknownTo(java, option, didYouMean(nearestFlag(flag)), "correct or remove it");
  }
  // The program java has more options of these kinds than a JVM.
  const std::string_view name = java.runsInProcess ? nameOfOption(option) : std::string_view();
  if (name.empty() || !names.lacksOption(name)) return std::nullopt;
  return unknownTo(java, option, "", "correct or remove it");
}

std::optional<Misfit> misfitOfJvm(const Target& java, const std::string& option, JvmNames& names) {
  // Another rule reports caches.
  if (flagOf(option).starts_with("AOT")) return std::nullopt;
  const auto history = historyOf(option);
  const auto state = stateIn(java, history);
  // Another vendor's JVM may know it.
  if (!state || *state == OptionState::unknown) return misfitByName(java, option, names);
  return misfit(java, *history, *state, option);
}

/// The configured JVM, unless that one is tried.
class ConfiguredJvm {
 public:
  explicit ConfiguredJvm(const Inspection& inspection) {
    if (inspection.jvmTrial) return;
    const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
    if (!jvm || jvm->release == 0 || jvm->release == inspection.javaRelease) return;
    const auto& options = inspection.plan.options;
    ignoresUnknown_ = std::find(options.begin(), options.end(),
                                "-XX:+IgnoreUnrecognizedVMOptions") != options.end();
    names_.emplace(jvm->library);
    java_ = {.name = concat({"the JVM, Java ", jvm->version, ","}),
             .release = jvm->release,
             .runsInProcess = inspection.runsInProcess()};
  }

  [[nodiscard]] const Target& java() const { return java_; }

  /// Of one option after the other.
  [[nodiscard]] std::optional<Misfit> misfit(const std::string& option) {
    if (!names_) return std::nullopt;
    unlock(option, java_);
    std::optional<Misfit> found = misfitOfJvm(java_, option, *names_);
    if (found && ignoresUnknown_ && found->kind == Kind::unknown) return std::nullopt;
    return found;
  }

 private:
  Target java_;
  std::optional<JvmNames> names_;
  bool ignoresUnknown_ = false;
};

/// "(the JVM, Java 17.0.9, ignores it)", after what a release that is asked for does.
std::string alsoBy(const Target& java, const Misfit& misfit) {
  const char* does = misfit.kind == Kind::unknown   ? " does not know it)"
                     : misfit.kind == Kind::ignored ? " ignores it)"
                                                    : " refuses it)";
  return concat({" (", java.name, does});
}

void optionRelease(const Inspection& inspection, Report& report) {
  ConfiguredJvm configured(inspection);
  std::optional<Target> asked = askedRelease(inspection);
  OptionPlaces places(inspection);
  for (const std::string& option : inspection.plan.options) {
    const std::optional<Misfit> ofJvm = configured.misfit(option);
    std::optional<Misfit> ofAsked;
    if (asked) {
      unlock(option, *asked);
      const std::optional<OptionHistory> history = historyOf(option);
      if (const auto state = stateIn(*asked, history))
        ofAsked = misfit(*asked, *history, *state, option);
    }
    if (!ofJvm && !ofAsked) continue;
    const bool isFatal = ofJvm && endsLaunch(configured.java(), *ofJvm);
    std::string text = ofAsked ? ofAsked->text : ofJvm->text;
    if (ofAsked && ofJvm) text += alsoBy(configured.java(), *ofJvm);
    Finding& finding = report.fatalIf(isFatal, places.of(option), std::move(text));
    finding.harmless = !isFatal && !(ofAsked && endsLaunch(*asked, *ofAsked));
  }
}

void optionDeprecated(const Inspection& inspection, Report& report) {
  const std::optional<Target> java = askedRelease(inspection);
  if (!java) return;
  OptionPlaces places(inspection);
  for (const std::string& option : inspection.plan.options) {
    const std::optional<OptionHistory> history = historyOf(option);
    if (stateIn(*java, history) != OptionState::deprecated) continue;
    const std::string since = history->deprecatedIn == 0
                                  ? std::string()
                                  : concat({", since ", std::to_string(history->deprecatedIn)});
    report(places.of(option), concat({java->name, " calls ", shown(option), " deprecated", since,
                                      ": it will be removed; ", adviceFor(*history)}));
  }
}

constexpr Rule rules[] = {
    {.id = "option-release",
     .severity = Severity::error,
     .summary = "an option that a release of Java does not accept",
     .explanation =
         "The release is that of the configured JVM or, with --java N, another one from 8 to 26, "
         "which need not be installed: that shows what an update would bring. The data comes from "
         "OpenJDK 8, 11, 17, 21, 25 and 26; about a release between two of them nothing is said "
         "where they differ and the release of the change is not known. For the configured JVM a "
         "flag is also unknown when its name is not in the library. --run ignores what a JVM does "
         "not know, so this is a warning.",
     .example = {.lines = "java.extended.properties=-XX:+UseConcMarkSweepGC",
                 .command = "kvf check --java 17 acme.kvf"},
     .remedy = {.lines = "java.extended.properties=-XX:+UseParallelGC",
                .command = "kvf check --java 17 acme.kvf"},
     .check = optionRelease},
    {.id = "option-deprecated",
     .severity = Severity::warning,
     .summary = "an option that will be removed",
     .explanation = "The JVM accepts it and says that a later release will not. Checked with "
                    "--java N, a release; --jvm asks the JVM itself.",
     .example = {.lines = "java.extended.properties=-XX:MaxRAMFraction=2",
                 .command = "kvf check --java 17 acme.kvf"},
     .remedy = {.lines = "java.extended.properties=-XX:MaxRAMPercentage=50.0",
                .command = "kvf check --java 17 acme.kvf"},
     .check = optionDeprecated},
};

}  // namespace

std::span<const Rule> optionReleaseRules() {
  return rules;
}
