// WString: sequences of operations on two strings, each beside the same on two std::strings.

#include <algorithm>
#include <climits>

#include <fuzzer/FuzzedDataProvider.h>

#include "Fuzzing.h"
#include "foundation/WException.h"

namespace {

struct Pair {
  WString code;
  std::string model;
};

constexpr unsigned int npos = WString::npos;

std::size_t wide(unsigned int position) {
  return position == npos ? std::string::npos : position;
}

unsigned int narrow(std::size_t position) {
  return static_cast<unsigned int>(position);
}

void requireSameSearches(const Pair& text, const Pair& needle, char c, unsigned int at) {
  const WString& code = text.code;
  const std::string& model = text.model;
  const bool inside = at < model.size() || at == npos;
  requireSame("find c", narrow(model.find(c, wide(at))), code.find(c, at));
  requireSame("find", narrow(model.find(needle.model, wide(at))), code.find(needle.code, at));
  requireSame("find_cstr", narrow(model.find(needle.model, wide(at))),
              code.find_cstr(needle.code.c_str(), at));
  requireSame("find_first_not_of", narrow(model.find_first_not_of(c, at == npos ? 0 : at)),
              code.find_first_not_of(c, at));
  if (!inside) return;
  requireSame("find_last_of c", narrow(model.rfind(c, wide(at))), code.find_last_of(c, at));
  requireSame("find_last_not_of", narrow(model.find_last_not_of(c, wide(at))),
              code.find_last_not_of(c, at));
  const std::size_t last =
      needle.model.empty() ? std::string::npos : model.rfind(needle.model, wide(at));
  requireSame("find_last_of", narrow(last), code.find_last_of(needle.code, at));
}

void requireSameParts(const Pair& text, const Pair& other, unsigned int at, unsigned int count) {
  const bool inside = at <= text.model.size();
  const std::string part = inside ? text.model.substr(at, wide(count)) : "";
  requireSame("substr", part, textOf(text.code.substr(at, count)));
  bool thrown = false;
  try {
    requireSame("part", part, textOf(WString(text.code, at, count)));
    requireSame("part of C", part, textOf(WString(text.code.c_str(), at, count)));
  } catch (const WException&) {
    thrown = true;
  }
  requireSame("thrown", !inside, thrown);
  requireSame("equal", text.model == other.model, text.code == other.code);
  requireSame("equal to C", text.model == other.model, text.code.isEqual(other.code.c_str()));
  requireSame("starts with", text.model.starts_with(other.model),
              text.code.startsWith(other.code.view()));
}

}  // namespace

void fuzz(std::string_view input) {
  FuzzedDataProvider data(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  Pair pairs[2];
  while (data.remaining_bytes() > 0) {
    const bool which = data.ConsumeBool();
    Pair& text = pairs[which ? 1 : 0];
    // Now and then a string meets itself: no operation may read what it has already overwritten.
    Pair& other = pairs[data.ConsumeBool() ? 1 : 0];
    const std::string fresh = upToNul(data.ConsumeRandomLengthString(150));
    const char c = data.ConsumeIntegralInRange<char>(1, CHAR_MAX);
    const unsigned int at = data.ConsumeBool() ? data.ConsumeIntegralInRange(0U, 200U) : npos;
    const unsigned int count = data.ConsumeBool() ? data.ConsumeIntegralInRange(0U, 200U) : npos;
    const bool inside = at <= text.model.size();
    const auto replace = [&](unsigned int removed, const std::string& with) {
      if (inside) text.model.replace(at, wide(removed), std::string(with));
    };
    switch (data.ConsumeIntegralInRange(0, 14)) {
      case 0:
        text.code = fresh.c_str();
        text.model = fresh;
        break;
      case 1:
        text.code = c;
        text.model = c;
        break;
      case 2:
        text.code = other.code;
        text.model = other.model;
        break;
      case 3:
        text.code = WString(other.code);
        text.model = other.model;
        break;
      case 4:
        text.code += other.code;
        text.model += std::string(other.model);
        break;
      case 5:
        text.code += fresh.c_str();
        text.model += fresh;
        break;
      case 6:
        text.code += c;
        text.model += c;
        break;
      case 7:
        text.code = text.code + other.code;
        text.model = text.model + other.model;
        break;
      case 8:
        text.code.replace(at, count, fresh.c_str());
        replace(count, fresh);
        break;
      case 9:
        text.code.replace(at, count, other.code.c_str());
        replace(count, other.model);
        break;
      case 10:
        text.code.erase(at, count);
        replace(count, "");
        break;
      case 11:
        text.code.insert(at, fresh.c_str());
        replace(0, fresh);
        break;
      case 12:
        text.code += text.code.c_str() + std::min(at, text.code.length());
        text.model += text.model.substr(std::min<std::size_t>(at, text.model.size()));
        break;
      case 13:
        text.code = WString(count);
        text.model.clear();
        break;
      default:
        text.code.clear();
        text.model.clear();
        break;
    }
    if (text.model.size() > 4000) return;
    requireSame("text", text.model, textOf(text.code));
    requireSame("C text", text.model, std::string(text.code.c_str()));
    requireSame("room", true, text.code.capacity() >= text.code.length());
    requireSameSearches(text, other, c, at);
    requireSameParts(text, other, at, count);
  }
}
