#include "kvf/process/TextReplacement.h"

#include <algorithm>
#include <cstddef>

std::string TextReplacement::take(std::string_view piece) {
  if (text_.empty()) return std::string(piece);
  waiting_ += piece;
  const std::size_t at = waiting_.find(text_);
  if (at != std::string::npos) {
    waiting_.replace(at, text_.size(), by_);
    text_.clear();
    return rest();
  }
  std::size_t kept = std::min(waiting_.size(), text_.size() - 1);
  while (!waiting_.ends_with(std::string_view(text_).substr(0, kept))) --kept;
  std::string passing = waiting_.substr(0, waiting_.size() - kept);
  waiting_.erase(0, passing.size());
  return passing;
}
