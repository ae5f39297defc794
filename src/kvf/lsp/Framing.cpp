#include "kvf/lsp/Framing.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "kvf/text/Text.h"

namespace {

constexpr std::size_t maxHeaderBytes = 8192;
constexpr std::string_view lengthField = "content-length";

bool isField(std::string_view text, std::string_view name) {
  return text.size() >= name.size() &&
         std::equal(name.begin(), name.end(), text.begin(), [](char expected, char c) {
           return expected == std::tolower(static_cast<unsigned char>(c));
         });
}

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r");
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(" \t\r") - start + 1);
}

}  // namespace

std::string framed(std::string_view body) {
  return concat({"Content-Length: ", std::to_string(body.size()), "\r\n\r\n", body});
}

void MessageReader::add(std::string_view bytes) {
  compact();
  bytes_ += bytes;
}

void MessageReader::compact() {
  bytes_.erase(0, at_);
  at_ = 0;
  // A long message has come and gone.
  if (bytes_.size() < bytes_.capacity() / 4) bytes_.shrink_to_fit();
}

std::optional<MessageReader::Message> MessageReader::next() {
  if (lost_ && !findNextHeader()) return std::nullopt;
  if (!length_) {
    std::string error = readHeader();
    if (!error.empty()) {
      lost_ = true;
      return Message{{}, std::move(error)};
    }
    if (!length_) return std::nullopt;
  }
  if (bytes_.size() - at_ < *length_) return std::nullopt;
  Message message{bytes_.substr(at_, *length_), {}};
  at_ += *length_;
  length_.reset();
  return message;
}

std::string MessageReader::readHeader() {
  std::optional<std::size_t> length;
  std::size_t at = at_;
  for (bool begun = false;;) {
    const std::size_t end = bytes_.find('\n', at);
    if (std::min(end, bytes_.size()) - at_ > maxHeaderBytes) {
      at_ = std::min(end, bytes_.size());
      return "a header has no end";
    }
    if (end == std::string::npos) return {};
    const std::string_view line = trimmed(std::string_view(bytes_).substr(at, end - at));
    at = end + 1;
    if (line.empty()) {
      if (begun) break;
      at_ = at;  // between two messages
      continue;
    }
    begun = true;
    const std::size_t colon = std::min(line.find(':'), line.size());
    if (colon != lengthField.size() || !isField(line, lengthField)) continue;
    const std::string_view digits = trimmed(line.substr(colon + 1));
    std::size_t number = 0;
    const auto [rest, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool isNumber = error == std::errc() && rest == digits.data() + digits.size();
    if (!isNumber || number > maxBytes) {
      at_ = at;
      return concat({"Content-Length is ", shown(digits)});
    }
    length = number;
  }
  at_ = at;
  if (!length) return "a header has no Content-Length";
  length_ = length;
  return {};
}

bool MessageReader::findNextHeader() {
  for (; at_ < bytes_.size(); ++at_) {
    const std::string_view rest = std::string_view(bytes_).substr(at_);
    if (rest.size() < lengthField.size() + 1) return false;
    if (!isField(rest, lengthField) || rest[lengthField.size()] != ':') continue;
    lost_ = false;
    return true;
  }
  return false;
}
