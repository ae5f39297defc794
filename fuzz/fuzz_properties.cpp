// Properties files: any text is split into entries, and their values can be substituted.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "config/PropertiesScanner.h"
#include "config/VariableSubstitution.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const SimpleProperties none;
  SimpleProperties entries;
  PropertiesScanner scanner({reinterpret_cast<const char*>(data), size});
  for (PropertiesEntry entry; scanner.next(entry);) {
    require(!entry.key.empty());
    // More references than a value may have would end the process, as they should.
    const std::string_view value = entry.value.view();
    if (std::count(value.begin(), value.end(), '%') <= 200) {
      ReplaceVariables(entry.value, none, entries, none);
    }
    entries.set(entry.key, entry.value);
    WString stored;
    require(entries.get(entry.key, stored) && stored == entry.value);
  }
  return 0;
}
