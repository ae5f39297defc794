// WString: sequences of operations on two strings, each beside the same on two std::strings.

#include "foundation/WString.h"

#include <algorithm>
#include <iterator>

#include "Fuzzing.h"

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

/// Decisions that the bytes of an input take; when there are no more, each is the first choice.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] bool areLeft() const { return !bytes_.empty(); }
  unsigned int upTo(unsigned int last) {
    const std::string byte = take(1);
    return byte.empty() ? 0 : static_cast<unsigned char>(byte[0]) % (last + 1);
  }
  std::string take(std::size_t count) {
    std::string taken(bytes_.substr(0, count));
    bytes_.remove_prefix(taken.size());
    return taken;
  }

 private:
  std::string_view bytes_;
};

/// What an edit has at hand: two strings, each twice, and what the input has chosen.
struct Step {
  WString& code;
  std::string& model;
  const WString& otherCode;
  const std::string& otherModel;
  std::string fresh;
  char c;
  unsigned int at;
  unsigned int count;
  unsigned int from;
  const char* partOfOther;  ///< from there to its end

  void replace(unsigned int removed, const std::string& with) const {
    if (at <= model.size()) model.replace(at, wide(removed), with);
  }
};

using S = const Step&;

struct Edit {
  void (*ofCode)(S s);
  void (*ofModel)(S s);
};

constexpr Edit edits[] = {
    {[](S s) { s.code.clear(); }, [](S s) { s.model.clear(); }},
    {[](S s) { s.code = s.fresh.c_str(); }, [](S s) { s.model = s.fresh; }},
    {[](S s) { s.code = s.c; }, [](S s) { s.model = s.c; }},
    {[](S s) { s.code = s.otherCode; }, [](S s) { s.model = s.otherModel; }},
    {[](S s) { s.code = WString(s.otherCode); }, [](S s) { s.model = s.otherModel; }},
    {[](S s) { s.code = WString(s.count); }, [](S s) { s.model.clear(); }},
    {[](S s) { s.code += s.otherCode; }, [](S s) { s.model += s.otherModel; }},
    {[](S s) { s.code += s.fresh.c_str(); }, [](S s) { s.model += s.fresh; }},
    {[](S s) { s.code += s.c; }, [](S s) { s.model += s.c; }},
    {[](S s) { s.code = s.code + s.otherCode; }, [](S s) { s.model += s.otherModel; }},
    {[](S s) { s.code.replace(s.at, s.count, s.fresh.c_str()); },
     [](S s) { s.replace(s.count, s.fresh); }},
    {[](S s) { s.code.replace(s.at, s.count, s.partOfOther); },
     [](S s) { s.replace(s.count, s.otherModel.substr(s.from)); }},
    {[](S s) { s.code.erase(s.at, s.count); }, [](S s) { s.replace(s.count, ""); }},
    {[](S s) { s.code.insert(s.at, s.fresh.c_str()); }, [](S s) { s.replace(0, s.fresh); }},
    {[](S s) { s.code = s.partOfOther; }, [](S s) { s.model = s.otherModel.substr(s.from); }},
    {[](S s) { s.code += s.partOfOther; }, [](S s) { s.model += s.otherModel.substr(s.from); }},
};

}  // namespace

void fuzz(std::string_view input) {
  Choices choices(input);
  Pair pairs[2] = {{"abcdef", "abcdef"}, {}};
  const auto number = [&] { return choices.upTo(choices.upTo(3) == 0 ? 100 : 5); };
  const auto position = [&] { return choices.upTo(3) == 0 ? npos : number(); };
  while (choices.areLeft()) {
    const Edit& edit = edits[choices.upTo(std::size(edits) - 1)];
    // Now and then a string meets itself: no operation may read what it has already overwritten.
    Pair& text = pairs[choices.upTo(1)];
    Pair& other = pairs[choices.upTo(1)];
    const unsigned int from = std::min(number(), other.code.length());
    const Step step = {text.code,
                       text.model,
                       other.code,
                       other.model,
                       upToNul(choices.take(number())),
                       static_cast<char>(1 + choices.upTo(126)),
                       position(),
                       position(),
                       from,
                       other.code.c_str() + from};
    edit.ofCode(step);
    edit.ofModel(step);
    if (text.model.size() > 4000) return;
    requireSame("text", text.model, textOf(text.code));
    requireSame("C text", text.model, std::string(text.code.c_str()));
    requireSame("room", true, text.code.capacity() >= text.code.length());
    requireSameSearches(text, other, step.c, step.at);
    requireSameParts(text, other, step.at, step.count);
  }
}
