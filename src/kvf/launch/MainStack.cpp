#include "kvf/launch/MainStack.h"

#include <algorithm>
#include <string>
#include <vector>

#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"

std::optional<MainStack> stackThatMainLacks(const Inspection& inspection) {
  if (!inspection.runsInProcess() || !inspection.isJava()) return std::nullopt;
  const std::vector<SizeOption> options = sizeOptions(inspection);
  const auto last = std::find_if(options.rbegin(), options.rend(), [](const SizeOption& option) {
    return option.kind == SizeKind::stack;
  });
  if (last == options.rend()) return std::nullopt;
  const auto wanted = memorySize(last->size);
  const auto raised = memorySize(inspection.valueOf(keys::threadStackSize));
  if (!wanted || (raised && *raised >= *wanted)) return std::nullopt;
  const std::size_t limit = inspection.surroundings.softStackLimit;
  if (*wanted <= limit) return std::nullopt;
  return MainStack{*last, std::max(limit, raised.value_or(0))};
}
