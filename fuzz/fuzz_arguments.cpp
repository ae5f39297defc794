// Argument texts, option lines and bytes for JNI: nothing that is typed breaks a rule of the
// result.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "hosting/ModifiedUtf8.h"
#include "javarun/ArgumentSplitter.h"
#include "javarun/ExtendedOptions.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

/// One to three bytes a character, every continuation byte in its place.
void requireModifiedUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto lead = static_cast<unsigned char>(text[0]);
    require(lead < 0x80 || (lead >= 0xC2 && lead <= 0xEF));
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : 3;
    require(text.size() >= length);
    for (const char c : text.substr(1, length - 1)) require((c & 0xC0) == 0x80);
    text.remove_prefix(length);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const WString text = bytes.c_str();
  requireModifiedUtf8(toModifiedUtf8(text.view()).view());
  for (const WString& option : splitExtendedOptions(text)) require(option.startsWith("-"));
  for (const LaunchWay way : {LaunchWay::hostedJava, LaunchWay::externalJava}) {
    for (const WString& argument : splitArguments(text, way)) require(!argument.contains("\""));
  }
  // The ways to launch Java differ in the empty pair of quotes only.
  std::vector<WString> hosted = splitArguments(text, LaunchWay::hostedJava);
  hosted.erase(std::remove(hosted.begin(), hosted.end(), WString()), hosted.end());
  require(hosted == splitArguments(text, LaunchWay::externalJava));
  splitArguments(text, LaunchWay::nativeLibrary);
  return 0;
}
