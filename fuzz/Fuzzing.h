#ifndef VELOX_FUZZ_FUZZING_H
#define VELOX_FUZZ_FUZZING_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/WString.h"

/// What the fuzzers share. Each one gives the same input to the code and to a model: a second, slow
/// and simple way to the same result, written from the documented rules and not from the code. Most
/// are a unit test as well, with the inputs of their corpus, the same damaged, and random joins of
/// their pieces.

using Texts = std::vector<std::string>;

/// One input; defined by each fuzzer.
static void fuzz(std::string_view input);

#ifdef VELOX_MODEL
#include "support/Replay.h"

TEST(Model, VELOX_MODEL) {
  replay(VELOX_CORPUS, VELOX_INPUTS, fuzz);
}
#else
extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                           std::size_t size) {
  fuzz({reinterpret_cast<const char*>(data), size});
  return 0;
}
#endif

inline void print(std::string_view text, std::ostream& out) {
  out << '"';
  for (const char c : text) {
    if (c >= ' ' && c <= '~') {
      out << c;
    } else {
      out << "<" << static_cast<int>(static_cast<unsigned char>(c)) << ">";
    }
  }
  out << "\" ";
}

inline void print(const Texts& list, std::ostream& out) {
  for (const std::string& text : list) print(text, out);
}

inline void print(unsigned int number, std::ostream& out) {
  out << number;
}

/// Throws when the code and the model differ: that ends a fuzzer, which keeps the input.
template <class Value>
void requireSame(const std::string& what, const Value& model, const Value& code) {
  if (model == code) return;
  std::ostringstream difference;
  difference << what << "\n  model: ";
  print(model, difference);
  difference << "\n  code:  ";
  print(code, difference);
  throw std::runtime_error(difference.str());
}

inline std::string textOf(const WString& text) {
  return std::string(text.view());
}

inline Texts textsOf(const std::vector<WString>& list) {
  Texts texts;
  for (const WString& text : list) texts.push_back(textOf(text));
  return texts;
}

/// The input as C code sees it.
inline std::string upToNul(std::string_view input) {
  return std::string(input.substr(0, input.find('\0')));
}

/// The pieces between separators: always one more than there are separators.
inline Texts splitAt(char separator, const std::string& text) {
  Texts pieces(1);
  for (const char c : text) {
    if (c == separator) {
      pieces.emplace_back();
    } else {
      pieces.back() += c;
    }
  }
  return pieces;
}

#endif
