#include "kvf/launch/LogOption.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::string_view prefix = "-Xlog:";
constexpr std::string_view oldPrefix = "-Xloggc:";

/// Takes the text up to the next colon outside of double quotes.
std::string_view nextPart(std::string_view& text) {
  bool quoted = false;
  std::size_t end = 0;
  for (; end < text.size() && (quoted || text[end] != ':'); ++end) {
    if (text[end] == '"') quoted = !quoted;
  }
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

}  // namespace

std::optional<LogOption> logOption(std::string_view option) {
  if (!option.starts_with(prefix)) return std::nullopt;
  option.remove_prefix(prefix.size());
  LogOption parts;
  parts.what = nextPart(option);
  parts.output = nextPart(option);
  parts.decorators = nextPart(option);
  return parts;
}

std::string_view logOutputOf(std::string_view option) {
  if (option.starts_with(oldPrefix)) return option.substr(oldPrefix.size());
  const std::optional<LogOption> parts = logOption(option);
  return !parts || parts->output == "stdout" || parts->output == "stderr" ? std::string_view()
                                                                          : parts->output;
}

std::string_view logFileOf(std::string_view option) {
  std::string_view output = logOutputOf(option);
  if (option.starts_with(oldPrefix)) return output;
  constexpr std::string_view mark = "file=";
  if (output.starts_with(mark)) output.remove_prefix(mark.size());
  if (output.size() > 1 && output.starts_with('"')) output = output.substr(1, output.size() - 2);
  return output;
}
