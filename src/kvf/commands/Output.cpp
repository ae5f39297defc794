#include "kvf/commands/Output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

#include "kvf/text/JsonText.h"
#include "kvf/text/Text.h"

namespace {

std::optional<bool> chosenColour;

}  // namespace

void occupyClosedStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    // The lowest free descriptor is this one; programs inherit it.
    static_cast<void>(::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0);
  }
}

ExitStatus complain(std::string_view text) {
  std::fprintf(stderr, "kvf: %s\n", printable(text).c_str());
  return noAnswer;
}

ExitStatus print(std::string_view text, std::FILE* stream) {
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
  return written ? success : complain("standard output cannot be written");
}

ExitStatus printJson(const nlohmann::ordered_json& document) {
  return print(versionedJsonText(document));
}

StandardOutputAside::StandardOutputAside() {
  std::cout.flush();
  std::fflush(stdout);
  own_ = Descriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
  if (own_.number() < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
    throw FileError("use", "standard output", errno);
}

StandardOutputAside::~StandardOutputAside() {
  std::cout.flush();
  std::fflush(stdout);
  // Without it nothing that is printed would arrive, and that is noticed.
  if (::dup2(own_.number(), STDOUT_FILENO) < 0) ::close(STDOUT_FILENO);
}

bool showsProgressInPlace() {
  return ::isatty(STDERR_FILENO) == 1;
}

void chooseColour(std::string_view when) {
  chosenColour = when == "auto" ? std::optional<bool>() : when == "always";
}

bool wantsColour() {
  if (chosenColour) return *chosenColour;
  const char* refused = std::getenv("NO_COLOR");
  return ::isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0');
}
