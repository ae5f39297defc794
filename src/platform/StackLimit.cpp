#include "platform/StackLimit.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <string>
#include <string_view>

#include <sys/resource.h>

namespace {

// The system keeps this much unmapped below the stack, and more on some processors.
constexpr std::size_t guardGap = std::size_t{16} << 20;

}  // namespace

void raiseStackLimit(std::size_t bytes) {
  rlimit limit = {};
  if (::getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= bytes) return;
  std::ifstream maps("/proc/self/maps");
  const rlim_t most = std::min<rlim_t>({bytes, limit.rlim_max, roomForStack(maps)});
  if (most <= limit.rlim_cur) return;
  limit.rlim_cur = most;
  ::setrlimit(RLIMIT_STACK, &limit);
}

std::size_t roomForStack(std::istream& maps) {
  std::size_t lowerEnd = 0;
  for (std::string line; std::getline(maps, line);) {
    // begin-end permissions ... name
    std::size_t begin = 0;
    std::size_t end = 0;
    const char* const lineEnd = line.data() + line.size();
    const char* const dash = std::from_chars(line.data(), lineEnd, begin, 16).ptr;
    if (dash == lineEnd) continue;
    std::from_chars(dash + 1, lineEnd, end, 16);
    if (std::string_view(line).ends_with("[stack]")) {
      const std::size_t room = end - lowerEnd;
      return room > guardGap ? room - guardGap : 0;
    }
    lowerEnd = end;
  }
  return 0;
}
