#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"
#include "kvf/launch/JvmOptions.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// The whole memory of a JVM against what it may use.

namespace {

/// What the JVM may use for one purpose, and where that is set.
struct MemoryPart {
  const char* name;
  std::uint64_t bytes = 0;
  Position at = {};
};

/// Of a JVM that has run an empty main, beyond its heap: its libraries, threads and tables.
constexpr std::uint64_t ownBytes = std::uint64_t{32} << 20U;

struct PartOption {
  std::string_view prefix;
  const char* name;
};

constexpr PartOption partOptions[] = {{"-XX:MaxMetaspaceSize=", "metaspace"},
                                      {"-XX:ReservedCodeCacheSize=", "code cache"},
                                      {"-XX:MaxDirectMemorySize=", "direct memory"}};

/// The value of the last option that begins so.
std::optional<std::string> lastOption(const Inspection& inspection, std::string_view prefix) {
  const auto& options = inspection.plan.options;
  const auto found = std::find_if(options.rbegin(), options.rend(), [&](const std::string& option) {
    return option.starts_with(prefix);
  });
  if (found == options.rend()) return std::nullopt;
  return *found;
}

MemoryPart heapOf(const Inspection& inspection, std::uint64_t limit) {
  const std::vector<SizeOption> sizes = sizeOptions(inspection);
  const auto last = std::find_if(sizes.rbegin(), sizes.rend(), [](const SizeOption& size) {
    return size.kind == SizeKind::maximumHeap;
  });
  if (last != sizes.rend()) return {"heap", memorySize(last->size).value_or(0), last->at};
  constexpr std::string_view share = "-XX:MaxRAMPercentage=";
  constexpr std::uint64_t usualPercent = 25;
  std::uint64_t percent = usualPercent;
  Position at = inspection.mainFile();
  if (const auto option = lastOption(inspection, share)) {
    // The fraction does not matter here.
    const std::string number = option->substr(share.size());
    percent = memorySize(number.substr(0, number.find('.'))).value_or(usualPercent);
    at = positionOfOption(inspection, *option);
  }
  return {"heap", limit / 100 * std::min<std::uint64_t>(percent, 100), at};
}

std::vector<MemoryPart> partsOf(const Inspection& inspection, std::uint64_t limit) {
  std::vector<MemoryPart> parts = {heapOf(inspection, limit)};
  for (const PartOption& part : partOptions) {
    const auto option = lastOption(inspection, part.prefix);
    if (!option) continue;
    const auto bytes = memorySize(std::string_view(*option).substr(part.prefix.size()));
    if (bytes) parts.push_back({part.name, *bytes, positionOfOption(inspection, *option)});
  }
  if (const auto stack = memorySize(inspection.valueOf(keys::threadStackSize)))
    parts.push_back({"the stack of main", *stack, inspection.positionOf(keys::threadStackSize)});
  return parts;
}

std::string megabytes(std::uint64_t bytes) {
  return std::to_string(bytes >> 20U) + "m";
}

void memoryTotal(const Inspection& inspection, Report& report) {
  if (!inspection.startsJvm() || !inspection.surroundings.memory) return;
  const MemoryBound& bound = *inspection.surroundings.memory;
  const std::vector<MemoryPart> parts = partsOf(inspection, bound.bytes);
  std::uint64_t sum = ownBytes;
  std::string list;
  for (const MemoryPart& part : parts) {
    sum += std::min(part.bytes, ~sum);
    list +=
        concat({part.name, " ", megabytes(part.bytes), " (", inspection.nameOf(part.at), "), "});
  }
  if (sum <= bound.bytes) return;
  const auto largest =
      std::max_element(parts.begin(), parts.end(),
                       [](const MemoryPart& a, const MemoryPart& b) { return a.bytes < b.bytes; });
  report(largest->at,
         concat({list, "and some ", megabytes(ownBytes), " of the JVM's own are ", megabytes(sum),
                 " together, and ", bound.source, " allows ", megabytes(bound.bytes),
                 ": once all of it is used, the process is killed; lower ", largest->name, " by ",
                 megabytes(sum - bound.bytes + (std::uint64_t{1} << 20U) - 1)}));
}

constexpr Rule rules[] = {
    {.id = "memory-total",
     .severity = Severity::warning,
     .summary = "a JVM that may use more memory than there is",
     .explanation =
         "The heap is only a part of it. Metaspace, code cache and direct memory are counted where "
         "an option sets them, the stack of main where java.thread.stack.size does, and 32m for "
         "the JVM itself. The limit is that of --memory, else of the unit, else of the control "
         "group, else the machine's memory.",
     .example = {.lines = "java.heap.size.max=512m", .command = "kvf check --memory=512m acme.kvf"},
     .remedy = {.lines = "java.heap.size.max=384m", .command = "kvf check --memory=512m acme.kvf"},
     .check = memoryTotal},
};

}  // namespace

std::span<const Rule> memoryTotalRules() {
  return rules;
}
