#include "kvf/text/JsonText.h"

#include <nlohmann/json.hpp>
#include <string_view>

namespace {

constexpr int jsonSchema = 1;

/// DEL and C1 are control characters too, which JSON allows and a terminal obeys. They are only in
/// strings: nothing else in the text is not ASCII.
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

}  // namespace

std::string jsonText(const nlohmann::ordered_json& document) {
  return withoutControls(
             document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)) +
         "\n";
}

std::string versionedJsonText(const nlohmann::ordered_json& document) {
  nlohmann::ordered_json versioned = {{"schema", jsonSchema}};
  versioned.update(document);
  return jsonText(versioned);
}
