#include "kvf/jvm/JvmChoice.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "foundation/TextPieces.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

std::optional<unsigned> numberOf(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The one that was found there, as it is in the list of all.
const Jvm* knownOf(const JvmPlaces& place, const std::vector<Jvm>& found) {
  const std::vector<Jvm> here = findJvms(place);
  if (here.empty()) return nullptr;
  const auto known = std::find_if(found.begin(), found.end(), [&](const Jvm& jvm) {
    std::error_code error;
    return fs::equivalent(jvm.library, here.front().library, error);
  });
  return known == found.end() ? nullptr : &*known;
}

/// The same JVM by a home that has its release in its name.
Jvm namedByRelease(const Jvm& jvm) {
  const std::string number = std::to_string(jvm.release);
  for (const fs::path& home : jvm.homes) {
    if (home.filename().native().find(number) == std::string::npos) continue;
    std::optional<Jvm> named = jvmAt(home);
    if (!named) continue;
    named->foundBy = jvm.foundBy;
    named->homes = jvm.homes;
    return *named;
  }
  return jvm;
}

}  // namespace

std::optional<JavaReleases> JavaReleases::of(std::string_view text) {
  constexpr std::string_view dots = "..";
  const std::size_t at = text.find(dots);
  if (at == std::string_view::npos) {
    const auto number = numberOf(text);
    return number ? std::optional(JavaReleases{*number, *number}) : std::nullopt;
  }
  JavaReleases releases;
  const std::string_view first = text.substr(0, at);
  const std::string_view last = text.substr(at + dots.size());
  if (first.empty() && last.empty()) return std::nullopt;
  for (const auto& [part, number] : {std::pair(first, &releases.first), {last, &releases.last}}) {
    if (part.empty()) continue;
    const auto value = numberOf(part);
    if (!value) return std::nullopt;
    *number = *value;
  }
  return releases.first <= releases.last ? std::optional(releases) : std::nullopt;
}

std::string JavaReleases::description() const {
  if (first == 0 && last == newest) return {};
  if (first == last) return concat({" of Java ", std::to_string(first)});
  if (last == newest) return concat({" of Java ", std::to_string(first), " or newer"});
  return concat({" of Java ", first == 0 ? "" : std::to_string(first),
                 first == 0 ? "up to " : " to ", std::to_string(last)});
}

std::optional<Jvm> chosenJvm(const JvmPlaces& places, const std::vector<Jvm>& found,
                             const JavaReleases& releases) {
  std::vector<const Jvm*> candidates;
  if (!places.javaHome.empty())
    candidates.push_back(knownOf({.javaHome = places.javaHome, .path = {}, .folders = {}}, found));
  for (const std::string_view folder : pathElements(places.path)) {
    const Jvm* jvm = knownOf({.javaHome = {}, .path = std::string(folder), .folders = {}}, found);
    if (jvm == nullptr) continue;
    candidates.push_back(jvm);
    break;
  }
  for (const Jvm& jvm : found) candidates.push_back(&jvm);
  for (const Jvm* jvm : candidates) {
    if (jvm == nullptr || !releases.contain(jvm->release)) continue;
    return releases.first == releases.last ? namedByRelease(*jvm) : *jvm;
  }
  return std::nullopt;
}
