#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/launch/MainStack.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

void heapSize(const Inspection& inspection, Report& report) {
  constexpr std::size_t smallestHeap = std::size_t{1} << 20U;
  for (const SizeOption& size : sizeOptions(inspection)) {
    // Other rules report those that become an option with "=" here.
    if (size.isJoined) continue;
    const auto bytes = memorySize(size.size);
    if (!bytes) {
      report.fatalIf(inspection.startsJvm(), size.at,
                     concat({shown(size.size), " in ", shown(size.option),
                             " is not a size: a JVM takes digits and one of k, ",
                             "m, g and t, such as 256m, and refuses to start otherwise"}));
    } else if (*bytes < smallestHeap && size.kind == SizeKind::maximumHeap) {
      report.fatalIf(
          inspection.startsJvm(), size.at,
          concat({shown(size.size), " in ", shown(size.option), " is ", std::to_string(*bytes),
                  " bytes, too little for a heap, and the JVM refuses to start: write ", size.size,
                  "m for megabytes"}));
    }
  }
}

/// The option of that kind that counts, when its form is right.
std::optional<SizeOption> lastOf(const std::vector<SizeOption>& options, SizeKind kind) {
  const auto last = std::find_if(options.rbegin(), options.rend(),
                                 [&](const SizeOption& option) { return option.kind == kind; });
  if (last == options.rend() || !memorySize(last->size)) return std::nullopt;
  return *last;
}

void heapOrder(const Inspection& inspection, Report& report) {
  const std::vector<SizeOption> options = sizeOptions(inspection);
  const auto initial = lastOf(options, SizeKind::initialHeap);
  const auto most = lastOf(options, SizeKind::maximumHeap);
  if (!initial || !most || *memorySize(initial->size) <= *memorySize(most->size)) return;
  const std::string elsewhere = inspection.nameOf(initial->at) == inspection.nameOf(most->at)
                                    ? ""
                                    : concat({" (", inspection.nameOf(most->at), ")"});
  report.fatalIf(inspection.startsJvm(), initial->at,
                 concat({"the initial heap of ", initial->size, " is above the maximum of ",
                         most->size, elsewhere, ", and the JVM refuses to start: lower it"}));
}

void youngGeneration(const Inspection& inspection, Report& report) {
  if (!inspection.value(keys::heapSizeMin)) return;
  report(inspection.positionOf(keys::heapSizeMin),
         concat({"this becomes -Xmn", inspection.valueOf(keys::heapSizeMin),
                 ", the size of the young generation, not a minimum of the heap: for that, set ",
                 keys::heapSizeInitial}));
}

/// A JVM looks at every option, also at one that a later one replaces; Java 8 at the last alone.
std::optional<SizeOption> tooLargeStack(const Inspection& inspection) {
  constexpr std::size_t gigabyte = std::size_t{1} << 30U;
  const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
  const bool isOldest = jvm && jvm->release == oldestRelease;
  const std::vector<SizeOption> options = sizeOptions(inspection);
  const auto isTooLarge = [&](const SizeOption& option) {
    const std::size_t largest = isOldest ? 2 * gigabyte - 1 : gigabyte;
    return option.kind == SizeKind::stack && memorySize(option.size).value_or(0) > largest;
  };
  if (isOldest) {
    const auto last = lastOf(options, SizeKind::stack);
    return last && isTooLarge(*last) ? last : std::nullopt;
  }
  const auto found = std::find_if(options.begin(), options.end(), isTooLarge);
  return found == options.end() ? std::nullopt : std::optional(*found);
}

/// Every JVM needs more, from 136k to 228k.
constexpr std::size_t smallestStack = std::size_t{64} << 10U;

void smallStack(const Inspection& inspection, Report& report) {
  const auto stack = lastOf(sizeOptions(inspection), SizeKind::stack);
  const std::size_t bytes = stack ? memorySize(stack->size).value_or(0) : 0;
  if (bytes == 0 || bytes >= smallestStack) return;
  const bool isBare = stack->size.find_first_not_of("0123456789") == std::string::npos;
  report.fatalIf(inspection.startsJvm(), stack->at,
                 concat({shown(stack->size), isBare ? " bytes are" : " is",
                         " too little for a stack, and the JVM refuses to start: write ",
                         isBare ? stack->size + "k for kilobytes" : std::string("1m")}));
}

void stackSize(const Inspection& inspection, Report& report) {
  smallStack(inspection, report);
  if (const auto stack = tooLargeStack(inspection)) {
    report.fatalIf(inspection.startsJvm(), stack->at,
                   concat({"today's JVMs accept at most 1g for a stack, and do not start with ",
                           stack->size, ": write less"}));
    return;
  }
  const auto wanted = memorySize(inspection.valueOf(keys::threadStackSize));
  const std::uint64_t limit = inspection.surroundings.stackLimit;
  if (!wanted || *wanted <= limit) return;
  report(inspection.positionOf(keys::threadStackSize),
         concat({"the hard stack limit ", inspection.unit ? "of the unit" : "here", " is ",
                 std::to_string(limit >> 10U), "k, so that the main thread does not get ",
                 inspection.valueOf(keys::threadStackSize),
                 ": raise it, with LimitSTACK= in a unit or ulimit -Hs"}));
}

void mainStack(const Inspection& inspection, Report& report) {
  const auto stack = stackThatMainLacks(inspection);
  if (!stack || tooLargeStack(inspection)) return;
  report(
      stack->wanted.at,
      concat({shown(stack->wanted.option), " does not reach main in this process, whose stack is ",
              std::to_string(stack->limit >> 10U), "k here: write java.thread.stack.size=",
              stack->wanted.size, " instead, which raises the soft limit"}));
}

constexpr Rule rules[] = {
    {.id = "heap-size",
     .severity = Severity::error,
     .summary = "a size that a JVM does not accept",
     .explanation = "The value of a key is appended to -Xmx, -Xms, -Xmn or -Xss as it stands; "
                    "java.extended.properties has such options as a whole. A bare number is bytes.",
     .example = {.lines = "java.heap.size.max=512 MB"},
     .remedy = {.lines = "java.heap.size.max=512m"},
     .check = heapSize},
    {.id = "heap-order",
     .severity = Severity::error,
     .summary = "an initial heap above the maximum",
     .explanation =
         "The JVM ends the process with its own message and status 1. Of several options of one "
         "kind the last one counts, and those of the keys come after java.extended.properties.",
     .example = {.lines = "java.heap.size.initial=2g\njava.heap.size.max=1g"},
     .remedy = {.lines = "java.heap.size.initial=1g\njava.heap.size.max=1g"},
     .check = heapOrder},
    {.id = "young-generation",
     .severity = Severity::warning,
     .summary = "java.heap.size.min, which sets the young generation",
     .explanation = "It becomes -Xmn. If that is meant, allow it with a comment.",
     .example = {.lines = "java.heap.size.min=256m"},
     .remedy = {.lines = "java.heap.size.initial=256m"},
     .check = youngGeneration},
    {.id = "stack-size",
     .severity = Severity::warning,
     .summary = "a stack above the hard limit, or above 1g",
     .explanation =
         "The main thread runs the application, and the launcher raises its stack limit only up to "
         "the hard one. The limit of the launch may differ from that of the check.",
     .example = {.lines = "java.thread.stack.size=2g"},
     .remedy = {.note = "Write less; below 1g the unit may need LimitSTACK=infinity.",
                .lines = "java.thread.stack.size=2m"},
     .check = stackSize},
    {.id = "main-stack",
     .severity = Severity::warning,
     .summary = "a stack size that main does not get",
     .explanation =
         "In the launcher's process main runs on the process's own stack, which ends at the soft "
         "stack limit. The launcher raises that limit for java.thread.stack.size, but not for an "
         "-Xss in the option line, which only new threads get.",
     .example = {.lines = "java.extended.properties=-Xss512m",
                 .command = "ulimit -Ss 8192; kvf check acme.kvf"},
     .remedy = {.lines = "java.thread.stack.size=512m",
                .command = "ulimit -Ss 8192; kvf check acme.kvf"},
     .check = mainStack},
};

}  // namespace

std::span<const Rule> memoryRules() {
  return rules;
}
