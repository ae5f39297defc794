#include "kvf/launch/SourceTexts.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <new>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "kvf/process/Interruption.h"
#include "kvf/text/Text.h"
#include "platform/Stream.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience(2);
constexpr long pipeFileSystem = 0x50495045;  // of pipes without a name

/// A pipe or terminal from the user, as with "<(COMMAND)", ends in time.
bool isWaitedFor(int descriptor) {
  struct statfs status {};
  return ::isatty(descriptor) == 1 ||
         (::fstatfs(descriptor, &status) == 0 && status.f_type == pipeFileSystem);
}

/// Waits until the descriptor can be read or is at its end.
bool isReady(int descriptor, const std::optional<Clock::time_point>& end) {
  for (;;) {
    int milliseconds = -1;
    if (end) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now()).count();
      milliseconds = static_cast<int>(std::max<long>(left, 0));
    }
    pollfd poll = {descriptor, POLLIN, 0};
    const int events = ::poll(&poll, 1, milliseconds);
    if (events > 0) return true;
    if (events == 0 || errno != EINTR) return false;
    InterruptionWatch::look();
  }
}

/// As the launcher would take the text from a file.
PropertiesText contentOf(std::string text) {
  if (text.size() >= propertiesSizeLimit) return {PropertiesText::State::unread, {}};
  return {PropertiesText::State::read, std::move(text)};
}

/// What a pipe or device yields, up to the limit of a properties file.
PropertiesText waitedFor(int descriptor, const std::string& name) {
  const auto end = isWaitedFor(descriptor) ? std::nullopt : std::optional(Clock::now() + patience);
  std::string text;
  std::array<char, 65536> buffer;
  while (text.size() < propertiesSizeLimit) {
    if (!isReady(descriptor, end)) {
      throw EndlessSource(concat({shown(name), " cannot be read: its end did not come within ",
                                  std::to_string(patience.count()), " seconds"}));
    }
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count < 0) return {PropertiesText::State::unread, {}};
    if (count == 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return contentOf(std::move(text));
}

SourceTexts::Source readSource(const std::string& name) {
  const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (descriptor < 0) return {};
  const Stream file(::fdopen(descriptor, "rb"));
  struct stat status = {};
  if (!file || ::fstat(descriptor, &status) != 0) throw std::bad_alloc();
  const bool isRegular = S_ISREG(status.st_mode);
  SourceTexts::Source source;
  if (isRegular) source.identity = {status.st_dev, status.st_ino};
  // Files of /proc have no size, and reading one may wait.
  const bool isStored = (isRegular && status.st_size > 0) || S_ISDIR(status.st_mode);
  source.content = isStored ? readPropertiesText(file.get()) : waitedFor(descriptor, name);
  return source;
}

std::string placeOf(const std::string& name) {
  std::error_code error;
  const fs::path place = fs::weakly_canonical(name, error);
  return error ? name : place.native();
}

}  // namespace

SourceTexts::SourceTexts(const GivenTexts& given) {
  for (const auto& [name, text] : given) given_[placeOf(name)].content = contentOf(text);
}

const SourceTexts::Source& SourceTexts::read(const std::string& name) {
  if (!given_.empty()) {
    const auto given = given_.find(placeOf(name));
    if (given != given_.end()) return given->second;
  }
  const auto known = sources_.find(name);
  return known != sources_.end() ? known->second
                                 : sources_.emplace(name, readSource(name)).first->second;
}
