#include "kvf/jvm/JvmNames.h"

#include <cctype>
#include <cstring>
#include <utility>

#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::size_t maxBytes = std::size_t{128} << 20U;

bool holds(std::string_view text, std::string_view wanted) {
  return ::memmem(text.data(), text.size(), wanted.data(), wanted.size()) != nullptr;
}

/// At the end of a text, up to its value. In Java 8 "-Xlog" is but the beginning of "-Xloggc:", and
/// part of the advice "Use -Xlog:jfr=... instead."
bool endsWithOption(std::string_view texts, std::string_view name) {
  while (const void* found = ::memmem(texts.data(), texts.size(), name.data(), name.size())) {
    const auto at = static_cast<std::size_t>(static_cast<const char*>(found) - texts.data());
    texts.remove_prefix(at + name.size());
    const std::string_view rest = texts.substr(0, texts.find('\0'));
    const bool goesOn = !rest.empty() && std::isalpha(static_cast<unsigned char>(rest[0])) != 0;
    if (!goesOn && rest.find(' ') == std::string_view::npos) return true;
  }
  return false;
}

}  // namespace

JvmNames::JvmNames(std::filesystem::path library) : library_(std::move(library)) {}

bool JvmNames::lacksFlag(std::string_view name) {
  // With the NUL that ends it; it may be the end of a longer text.
  const std::string text(name);
  // Some that are in no table of flags are there as they are written.
  return mayLookFor() && !holds(text_, std::string_view(text.c_str(), text.size() + 1)) &&
         !holds(text_, concat({"-XX:", name, "="}));
}

bool JvmNames::lacksOption(std::string_view name) {
  return mayLookFor() && !endsWithOption(text_, name);
}

bool JvmNames::mayLookFor() {
  if (!std::exchange(isRead_, true)) {
    text_ = textOfFile(library_, maxBytes);
    isKnownKind_ =
        holds(text_, "Unrecognized VM option '") && holds(text_, "UnlockExperimentalVMOptions");
  }
  if (!isKnownKind_ || left_ == 0) return false;
  --left_;
  return true;
}
