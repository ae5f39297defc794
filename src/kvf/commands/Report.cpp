#include "kvf/commands/Report.h"

#include <cstdlib>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include "kvf/text/Text.h"

namespace {

constexpr const char* bold = "\033[1m";
constexpr const char* red = "\033[1;31m";
constexpr const char* yellow = "\033[1;33m";
constexpr const char* plain = "\033[0m";

}  // namespace

bool wantsColour() {
  const char* refused = std::getenv("NO_COLOR");
  return ::isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0');
}

std::string asText(const std::vector<Finding>& findings, bool colour) {
  std::string text;
  for (const Finding& finding : findings) {
    const char* severity = finding.rule->severity == Severity::error ? red : yellow;
    text +=
        concat({colour ? bold : "", printable(finding.file), ":", std::to_string(finding.line),
                colour ? plain : "", ": ", colour ? severity : "", nameOf(finding.rule->severity),
                colour ? plain : "", ": ", printable(finding.text), " [", finding.rule->id, "]\n"});
  }
  return text;
}

nlohmann::ordered_json asJson(const std::vector<Finding>& findings) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"file", finding.file},
                    {"line", finding.line},
                    {"severity", nameOf(finding.rule->severity)},
                    {"rule", finding.rule->id},
                    {"text", finding.text}});
  }
  return {{"schema", jsonSchema}, {"findings", std::move(list)}};
}

std::string dump(const nlohmann::ordered_json& document) {
  return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
