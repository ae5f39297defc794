#include "platform/StackLimit.h"

#include <algorithm>
#include <charconv>
#include <string>

#include <sys/resource.h>

#include "platform/Stream.h"

namespace {

// The system keeps this much unmapped below the stack, and more on some processors.
constexpr std::size_t guardGap = std::size_t{16} << 20;

// The standard library's streams would treble the launcher's size and the work before main.
std::string ownMaps() {
  std::string text;
  const Stream maps = openStream("/proc/self/maps", "r");
  char block[4096];
  for (std::size_t length = 0;
       maps && (length = std::fread(block, 1, sizeof block, maps.get())) > 0;) {
    text.append(block, length);
  }
  return text;
}

}  // namespace

void raiseStackLimit(std::size_t bytes) {
  rlimit limit = {};
  if (::getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= bytes) return;
  const auto most = std::min<rlim_t>({bytes, limit.rlim_max, roomForStack(ownMaps())});
  if (most <= limit.rlim_cur) return;
  limit.rlim_cur = most;
  ::setrlimit(RLIMIT_STACK, &limit);
}

std::size_t roomForStack(std::string_view maps) {
  std::size_t lowerEnd = 0;
  while (!maps.empty()) {
    const std::string_view line = maps.substr(0, maps.find('\n'));
    maps.remove_prefix(std::min(maps.size(), line.size() + 1));
    // begin-end permissions ... name
    std::size_t begin = 0;
    std::size_t end = 0;
    const char* const lineEnd = line.data() + line.size();
    const char* const dash = std::from_chars(line.data(), lineEnd, begin, 16).ptr;
    if (dash == lineEnd) continue;
    std::from_chars(dash + 1, lineEnd, end, 16);
    if (line.ends_with("[stack]")) {
      const std::size_t room = end - lowerEnd;
      return room > guardGap ? room - guardGap : 0;
    }
    lowerEnd = end;
  }
  return 0;
}
