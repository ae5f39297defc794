#include "kvf/commands/Output.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include <unistd.h>

#include "kvf/text/Text.h"

namespace {

constexpr int jsonSchema = 1;

/// DEL and C1 are control characters too, which JSON lets pass and a terminal obeys. They are only
/// in strings: nothing else in the text is not ASCII.
std::string withoutControls(std::string_view json) {
  std::string escaped;
  for (std::size_t at = 0; at < json.size(); ++at) {
    const auto next = static_cast<unsigned char>(at + 1 < json.size() ? json[at + 1] : '\0');
    if (json[at] == '\x7F') {
      escaped += "\\u007f";
    } else if (json[at] == '\xC2' && next < 0xA0) {
      escaped += next < 0x90 ? "\\u008" : "\\u009";
      escaped += "0123456789abcdef"[next & 0xFU];
      ++at;
    } else {
      escaped += json[at];
    }
  }
  return escaped;
}

std::optional<bool> chosenColour;

}  // namespace

ExitStatus complain(std::string_view text) {
  std::fprintf(stderr, "kvf: %s\n", printable(text).c_str());
  return noAnswer;
}

ExitStatus print(std::string_view text) {
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  return written ? success : complain("standard output cannot be written");
}

ExitStatus printJson(const nlohmann::ordered_json& document) {
  nlohmann::ordered_json versioned = {{"schema", jsonSchema}};
  versioned.update(document);
  return print(withoutControls(versioned.dump(2, ' ', false,
                                              nlohmann::ordered_json::error_handler_t::replace)) +
               "\n");
}

void chooseColour(std::string_view when) {
  chosenColour = when == "auto" ? std::optional<bool>() : when == "always";
}

bool wantsColour() {
  if (chosenColour) return *chosenColour;
  const char* refused = std::getenv("NO_COLOR");
  return ::isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0');
}
