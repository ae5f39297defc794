#include "kvf/commands/Output.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <utility>

#include <unistd.h>

#include "kvf/text/Text.h"

namespace {

constexpr int jsonSchema = 1;

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

ExitStatus printJson(nlohmann::ordered_json document) {
  nlohmann::ordered_json versioned = {{"schema", jsonSchema}};
  versioned.update(document);
  return print(versioned.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) +
               "\n");
}

bool wantsColour() {
  const char* refused = std::getenv("NO_COLOR");
  return ::isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0');
}
