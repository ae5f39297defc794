#include "kvf/launch/MainStack.h"

#include <algorithm>
#include <string>
#include <vector>

#include <sys/resource.h>

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
  struct rlimit limit = {};
  if (!wanted || (raised && *raised >= *wanted) || ::getrlimit(RLIMIT_STACK, &limit) != 0) {
    return std::nullopt;
  }
  if (limit.rlim_cur == RLIM_INFINITY || *wanted <= limit.rlim_cur) return std::nullopt;
  return MainStack{*last, std::max(static_cast<std::size_t>(limit.rlim_cur), raised.value_or(0))};
}
