#include "kvf/jvm/OptionHistory.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "kvf/text/Text.h"

namespace {

struct Row {
  std::string_view states;
  unsigned deprecatedIn;
  unsigned removedIn;
  std::string_view names;  ///< with blanks between them; a flag that is on or off has a "+"
};

constexpr Row rows[] = {
#include "kvf/jvm/JvmOptionTable.inc"
};

struct Instead {
  std::string_view start;  ///< of the names
  const char* text;
};

// The first one counts.
constexpr Instead instead[] = {
    {"UseConcMarkSweepGC", "remove it; G1 is the default, -XX:+UseZGC pauses least"},
    {"CMS", "remove it, it belonged to a collector that was removed"},
    {"UseParNewGC", "remove it, it belonged to a collector that was removed"},
    {"-Xincgc", "remove it, it belonged to a collector that was removed"},
    {"UseParallelOldGC", "write -XX:+UseParallelGC"},
    {"ZGenerational", "remove it, ZGC is always generational"},
    {"MaxPermSize", "write -XX:MaxMetaspaceSize"},
    {"PermSize", "write -XX:MetaspaceSize"},
    {"PrintGCDateStamps", "write -Xlog:gc*:file=FILE:time"},
    {"PrintGCTimeStamps", "write -Xlog:gc*:file=FILE:uptime"},
    {"PrintGCDetails", "write -Xlog:gc*"},
    {"PrintGC", "write -Xlog:gc*"},
    {"-Xloggc:", "write -Xlog:gc:file=FILE"},
    {"UseGCLogFileRotation", "write -Xlog:gc*:file=FILE::filecount=5,filesize=10m"},
    {"NumberOfGCLogFiles", "write -Xlog:gc*:file=FILE::filecount=5,filesize=10m"},
    {"GCLogFileSize", "write -Xlog:gc*:file=FILE::filecount=5,filesize=10m"},
    {"PrintTenuringDistribution", "write -Xlog:gc+age=trace"},
    {"TraceClassLoading", "write -Xlog:class+load"},
    {"TraceClassUnloading", "write -Xlog:class+unload"},
    {"MaxRAMFraction", "write -XX:MaxRAMPercentage"},
    {"MinRAMFraction", "write -XX:MinRAMPercentage"},
    {"InitialRAMFraction", "write -XX:InitialRAMPercentage"},
    {"UseCGroupMemoryLimitForHeap", "remove it, a JVM now observes the limits of a container"},
    {"DumpSharedSpaces", "write -Xshare:dump"},
    {"RequireSharedSpaces", "write -Xshare:on"},
    {"UseSharedSpaces", "write -Xshare:auto or -Xshare:off"},
    {"--illegal-access=", "name the packages with --add-opens"},
    {"-Xbootclasspath/p:", "write --patch-module"},
    {"-Djava.endorsed.dirs=", "put the archives into the class path"},
    {"-Djava.ext.dirs=", "put the archives into the class path"},
    {"-Xdebug", "remove it, -agentlib:jdwp no longer needs it"},
    {"-Xnoagent", "remove it, -agentlib:jdwp no longer needs it"},
};

/// Of a folder that JVMs no longer have, but let pass when it names nothing.
bool isEmptyFolder(std::string_view option) {
  constexpr std::string_view names[] = {"-Djava.endorsed.dirs=", "-Djava.ext.dirs="};
  return std::any_of(std::begin(names), std::end(names), [&](std::string_view name) {
    return option.starts_with(name) &&
           (option.size() == name.size() || option.substr(name.size()) == "\"\"");
  });
}

bool isOneWith(std::string_view name, std::string_view option) {
  if (!option.starts_with(name)) return false;
  if (option.size() == name.size() || name.ends_with(':') || name.ends_with('=')) return true;
  const char next = option[name.size()];
  return next == ':' || next == '=' || (next >= '0' && next <= '9');
}

/// Calls visit(row, name, isSwitch) for every name of the table.
template <class Visit>
void forEachName(Visit&& visit) {
  for (const Row& row : rows) {
    for (std::string_view rest = row.names; !rest.empty();) {
      const std::size_t end = std::min(rest.find(' '), rest.size());
      std::string_view name = rest.substr(0, end);
      const bool isSwitch = name.starts_with('+');
      if (isSwitch) name.remove_prefix(1);
      visit(row, name, isSwitch);
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
}

struct Named {
  const Row* row;
  bool isSwitch;
};

/// The table by the names of flags.
const std::unordered_map<std::string_view, Named>& flags() {
  static const std::unordered_map<std::string_view, Named> byName = [] {
    std::unordered_map<std::string_view, Named> found;
    forEachName([&](const Row& row, std::string_view name, bool isSwitch) {
      if (!name.starts_with('-')) found.try_emplace(name, Named{&row, isSwitch});
    });
    return found;
  }();
  return byName;
}

OptionHistory historyIn(const Row& row, std::string_view name, bool isSwitch) {
  return {.name = name,
          .states = row.states,
          .deprecatedIn = row.deprecatedIn,
          .removedIn = row.removedIn,
          .isSwitch = isSwitch};
}

OptionState stateAt(std::string_view states, std::size_t index) {
  return static_cast<OptionState>(states[index]);
}

}  // namespace

bool isUsable(OptionState state) {
  return state != OptionState::unknown && state != OptionState::ignored &&
         state != OptionState::refused;
}

std::optional<OptionState> OptionHistory::in(unsigned release) const {
  const auto* const next = std::lower_bound(askedReleases.begin(), askedReleases.end(), release);
  if (next == askedReleases.end()) return std::nullopt;
  const auto index = static_cast<std::size_t>(next - askedReleases.begin());
  const OptionState after = stateAt(states, index);
  if (*next == release) return after;
  if (index == 0) return std::nullopt;
  const OptionState before = stateAt(states, index - 1);
  if (before == after) return before;
  // The release of the change between the two may be known.
  const bool goes = isUsable(before) && !isUsable(after);
  if (goes && removedIn > askedReleases[index - 1]) {
    if (release >= removedIn) return after;
    if (before == OptionState::deprecated || deprecatedIn == 0) return before;
    return release >= deprecatedIn ? OptionState::deprecated : before;
  }
  const bool ages = before == OptionState::taken && after == OptionState::deprecated;
  if (ages && deprecatedIn > askedReleases[index - 1]) {
    return release >= deprecatedIn ? after : before;
  }
  return std::nullopt;
}

unsigned OptionHistory::lastUsableBefore(unsigned release) const {
  unsigned last = 0;
  for (std::size_t i = 0; i < askedReleases.size() && askedReleases[i] < release; ++i) {
    if (isUsable(stateAt(states, i))) last = askedReleases[i];
  }
  return last;
}

unsigned OptionHistory::firstUsableAfter(unsigned release) const {
  for (std::size_t i = 0; i < askedReleases.size(); ++i) {
    if (askedReleases[i] > release && isUsable(stateAt(states, i))) return askedReleases[i];
  }
  return 0;
}

std::string_view flagOf(std::string_view option) {
  constexpr std::string_view prefix = "-XX:";
  if (!option.starts_with(prefix)) return {};
  option.remove_prefix(prefix.size());
  if (option.starts_with('+') || option.starts_with('-')) option.remove_prefix(1);
  return option.substr(0, option.find_first_of("=:"));
}

std::optional<OptionHistory> historyOf(std::string_view option) {
  if (const std::string_view flag = flagOf(option); !flag.empty()) {
    const auto found = flags().find(flag);
    if (found == flags().end()) return std::nullopt;
    return historyIn(*found->second.row, found->first, found->second.isSwitch);
  }
  if (isEmptyFolder(option)) return std::nullopt;
  static const std::vector<OptionHistory> others = [] {
    std::vector<OptionHistory> found;
    forEachName([&](const Row& row, std::string_view name, bool isSwitch) {
      if (name.starts_with('-')) found.push_back(historyIn(row, name, isSwitch));
    });
    return found;
  }();
  const OptionHistory* longest = nullptr;
  for (const OptionHistory& one : others) {
    const bool isLonger = longest == nullptr || one.name.size() > longest->name.size();
    if (isLonger && isOneWith(one.name, option)) longest = &one;
  }
  return longest == nullptr ? std::optional<OptionHistory>() : *longest;
}

std::string_view nearestFlag(std::string_view name) {
  std::vector<std::string_view> names;
  forEachName([&](const Row&, std::string_view candidate, bool) {
    if (!candidate.starts_with('-')) names.push_back(candidate);
  });
  return nearestName(name, names);
}

const char* insteadOf(const OptionHistory& history) {
  const auto* const found =
      std::find_if(std::begin(instead), std::end(instead),
                   [&](const Instead& one) { return history.name.starts_with(one.start); });
  return found == std::end(instead) ? nullptr : found->text;
}
