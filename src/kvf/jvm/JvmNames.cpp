#include "kvf/jvm/JvmNames.h"

#include <cstring>
#include <utility>

#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::size_t maxBytes = std::size_t{128} << 20U;

bool holds(const std::string& text, std::string_view wanted) {
  return ::memmem(text.data(), text.size(), wanted.data(), wanted.size()) != nullptr;
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
  return mayLookFor() && !holds(text_, name);
}

bool JvmNames::mayLookFor() {
  if (!std::exchange(isRead_, true)) {
    text_ = textOfFile(library_, maxBytes);
    isKnownKind_ =
        holds(text_, "Unrecognized VM option '") && holds(text_, "UnlockExperimentalVMOptions");
  }
  return isKnownKind_ && left_ > 0 && left_-- > 0;
}
