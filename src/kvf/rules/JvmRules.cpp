#include <algorithm>
#include <optional>
#include <string>

#include "foundation/PropertyKeys.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

/// What JVMs say: the configured one when it is tried, and those of a release that is asked for.

namespace {

Position positionOf(const Inspection& inspection, const JvmComplaint& complaint) {
  return complaint.option.empty() ? inspection.positionOf(keys::javaLibrary)
                                  : positionOfOption(inspection, complaint.option);
}

std::string saysOf(const JvmComplaint& complaint) {
  return complaint.option.empty()
             ? concat({": ", shown(complaint.text)})
             : concat({" ", shown(complaint.option), ": ", shown(complaint.text)});
}

template <class Visit>
void forEachComplaint(const Inspection& inspection, JvmComplaint::Kind kind, Visit&& visit) {
  if (!inspection.jvmTrial) return;
  for (const JvmComplaint& complaint : inspection.jvmTrial->complaints) {
    if (complaint.kind == kind) visit(complaint, positionOf(inspection, complaint));
  }
}

void jvmIgnores(const Inspection& inspection, Report& report) {
  using Kind = JvmComplaint::Kind;
  forEachComplaint(inspection, Kind::unknown, [&](const JvmComplaint& found, const Position& at) {
    report(at, concat({"the JVM does not know ", shown(found.option),
                       "; --run ignores it without a word, --cmdlineJava does not start: correct ",
                       "or remove it"}));
  });
  forEachComplaint(inspection, Kind::ignored, [&](const JvmComplaint& found, const Position& at) {
    report(at, concat({"the JVM starts without", saysOf(found)}));
  });
}

void jvmRefuses(const Inspection& inspection, Report& report) {
  forEachComplaint(
      inspection, JvmComplaint::Kind::refused, [&](const JvmComplaint& found, const Position& at) {
        report.fatal(
            at, concat({"the JVM does not start with ", found.option.empty() ? "these options" : "",
                        saysOf(found).substr(found.option.empty() ? 0 : 1)}));
      });
}

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

/// What the release does with the option and does not with one that fits; empty: nothing.
std::string misfit(const OptionHistory& history, OptionState state, unsigned release,
                   const std::string& option, bool unlocked) {
  const std::string java = concat({"Java ", std::to_string(release)});
  const auto needs = [&](const char* kind) {
    return concat({java, " refuses ", shown(option), " unless -XX:+Unlock", kind,
                   "VMOptions stands before it: write that, too"});
  };
  switch (state) {
    case OptionState::unknown:
      return concat(
          {java, " does not know ", shown(option), sinceWhen(history, release),
           "; --run then ignores it without a word, the program java ends: ", adviceFor(history)});
    case OptionState::ignored:
      return concat({java, " ignores with a warning ", shown(option), sinceWhen(history, release),
                     ": ", adviceFor(history)});
    case OptionState::refused:
      return concat({java, " does not start with ", shown(option), sinceWhen(history, release),
                     ": ", adviceFor(history)});
    case OptionState::experimental:
      return unlocked ? std::string() : needs("Experimental");
    case OptionState::diagnostic:
      return unlocked ? std::string() : needs("Diagnostic");
    case OptionState::taken:
    case OptionState::deprecated:
      return {};
  }
  return {};
}

/// Calls visit(option, history, state, unlocked) for the options that the release that is asked for
/// is known to do something with.
template <class Visit>
void forEachKnownOption(const Inspection& inspection, Visit&& visit) {
  if (inspection.javaRelease == 0 || !inspection.isJava() || !inspection.startsApplication())
    return;
  bool experimental = false;
  bool diagnostic = false;
  for (const std::string& option : inspection.plan.options) {
    if (option == "-XX:+UnlockExperimentalVMOptions") experimental = true;
    if (option == "-XX:+UnlockDiagnosticVMOptions") diagnostic = true;
    const std::optional<OptionHistory> history = historyOf(option);
    const std::optional<OptionState> state =
        history ? history->in(inspection.javaRelease) : std::optional<OptionState>();
    if (!state) continue;
    visit(option, *history, *state,
          *state == OptionState::experimental ? experimental : diagnostic);
  }
}

void optionRelease(const Inspection& inspection, Report& report) {
  forEachKnownOption(inspection, [&](const std::string& option, const OptionHistory& history,
                                     OptionState state, bool unlocked) {
    const std::string text = misfit(history, state, inspection.javaRelease, option, unlocked);
    if (!text.empty()) report(positionOfOption(inspection, option), text);
  });
}

void optionDeprecated(const Inspection& inspection, Report& report) {
  forEachKnownOption(inspection, [&](const std::string& option, const OptionHistory& history,
                                     OptionState state, bool /*unlocked*/) {
    if (state != OptionState::deprecated) return;
    const std::string since = history.deprecatedIn == 0
                                  ? std::string()
                                  : concat({", since ", std::to_string(history.deprecatedIn)});
    report(positionOfOption(inspection, option),
           concat({"Java ", std::to_string(inspection.javaRelease), " calls ", shown(option),
                   " deprecated", since, ": it will go; ", adviceFor(history)}));
  });
  forEachComplaint(inspection, JvmComplaint::Kind::deprecated,
                   [&](const JvmComplaint& found, const Position& at) {
                     report(at, concat({"the JVM says of", saysOf(found)}));
                   });
}

constexpr Rule rules[] = {
    {.id = "jvm-ignores",
     .severity = Severity::warning,
     .summary = "an option that the JVM does not know, or ignores",
     .explanation =
         "The launcher lets the JVM ignore what it does not know; what it ignores by itself it "
         "says "
         "in a line that gets lost among the application's, such as of a module or package that is "
         "not there. Checked with --jvm, which starts the JVM, and again for each such option.",
     .example = {.lines = "java.extended.properties=-XX:+UseFoo",
                 .command = "kvf check --jvm acme.kvf"},
     .remedy = {.lines = "java.extended.properties=-XX:+UseSerialGC",
                .command = "kvf check --jvm acme.kvf"},
     .check = jvmIgnores},
    {.id = "jvm-refuses",
     .severity = Severity::error,
     .summary = "options that the JVM refuses",
     .explanation = "The JVM prints its own text and the launch ends. Checked with --jvm; the "
                    "option is the one without which the JVM starts.",
     .example = {.lines = "java.thread.stack.size=1k", .command = "kvf check --jvm acme.kvf"},
     .remedy = {.lines = "java.thread.stack.size=1m", .command = "kvf check --jvm acme.kvf"},
     .check = jvmRefuses},
    {.id = "option-release",
     .severity = Severity::error,
     .summary = "an option that a release of Java does not take",
     .explanation =
         "Checked with --java N, a release from 8 to 26 that need not be there: an update. What is "
         "known was told by OpenJDK 8, 11, 17, 21, 25 and 26 themselves; of a release between two "
         "of them nothing is said where they differ and the step between them is not known.",
     .example = {.lines = "java.extended.properties=-XX:+UseConcMarkSweepGC",
                 .command = "kvf check --java 17 acme.kvf"},
     .remedy = {.lines = "java.extended.properties=-XX:+UseParallelGC",
                .command = "kvf check --java 17 acme.kvf"},
     .check = optionRelease},
    {.id = "option-deprecated",
     .severity = Severity::warning,
     .summary = "an option that will go",
     .explanation = "The JVM takes it and says that a later release will not. Checked with --java "
                    "N, a release, and with --jvm, which asks the JVM.",
     .example = {.lines = "java.extended.properties=-XX:MaxRAMFraction=2",
                 .command = "kvf check --java 17 acme.kvf"},
     .remedy = {.lines = "java.extended.properties=-XX:MaxRAMPercentage=50",
                .command = "kvf check --java 17 acme.kvf"},
     .check = optionDeprecated},
};

}  // namespace

std::span<const Rule> jvmRules() {
  return rules;
}
