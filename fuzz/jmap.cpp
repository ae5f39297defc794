// Property sets: puts, copies and lookups beside a std::map, and the order of enumeration.

#include <algorithm>
#include <array>
#include <map>

#include <fuzzer/FuzzedDataProvider.h>

#include "Fuzzing.h"
#include "foundation/Properties.h"

namespace {

constexpr std::size_t buckets = 41;

/// In 64 bits, as the documentation of the hash has it: each character sign-extended.
std::size_t bucketOf(const std::string& key) {
  std::uint64_t hash = 0;
  for (const char c : key) {
    std::uint64_t number = static_cast<unsigned char>(c);
    if (number > 127) number -= 256;
    hash = (hash * 16 + number) & 0xFFFFFFFFU;
    const std::uint64_t top = hash & 0xF0000000U;
    hash = (hash ^ top >> 24U) & 0x0FFFFFFFU;
  }
  return hash % buckets;
}

struct Model {
  std::map<std::string, std::string> values;
  std::array<Texts, buckets> keys;  ///< oldest first

  void set(const std::string& key, const std::string& value) {
    if (values.insert_or_assign(key, value).second) keys[bucketOf(key)].push_back(key);
  }

  /// Keys and values by bucket, the newest key of a bucket first.
  [[nodiscard]] Texts enumerated() const {
    Texts list;
    for (Texts chain : keys) {
      std::reverse(chain.begin(), chain.end());
      for (const std::string& key : chain) list.insert(list.end(), {key, values.at(key)});
    }
    return list;
  }

  /// Copied by enumerating.
  [[nodiscard]] Model copy() const {
    Model fresh;
    const Texts list = enumerated();
    for (std::size_t i = 0; i < list.size(); i += 2) fresh.set(list[i], list[i + 1]);
    return fresh;
  }
};

Texts enumerated(const Properties& properties) {
  Texts list;
  properties.forEach([&](const WString& key, const WString& value) {
    list.insert(list.end(), {textOf(key), textOf(value)});
  });
  return list;
}

}  // namespace

void fuzz(std::string_view input) {
  FuzzedDataProvider data(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  Model model;
  SimpleProperties code;
  while (data.remaining_bytes() > 0) {
    const std::string key = upToNul(data.ConsumeRandomLengthString(100));
    const std::string value = upToNul(data.ConsumeRandomLengthString(100));
    const int action = data.ConsumeIntegralInRange(0, 9);
    if (action == 0) {
      model = model.copy();
      code = SimpleProperties(code);
    } else if (action == 1) {
      SimpleProperties assigned;
      assigned.set("replaced", "");
      assigned = code;
      model = model.copy();
      code = std::move(assigned);
    } else {
      model.set(key, value);
      code.set(key.c_str(), value.c_str());
    }
    const auto stored = model.values.find(key);
    requireSame("value", stored == model.values.end() ? "absent" : stored->second,
                textOf(code.valueOf(key.c_str(), "absent")));
  }
  requireSame("enumeration", model.enumerated(), enumerated(code));
}
