#ifndef VELOX_KVF_PROCESS_TEXTREPLACEMENT_H
#define VELOX_KVF_PROCESS_TEXTREPLACEMENT_H

#include <string>
#include <string_view>
#include <utility>

/// Puts a text in the place of another one the first time that it comes by in a stream, in whatever
/// pieces it comes. Only what may be the beginning of it waits.
class TextReplacement {
 public:
  /// An empty text is never replaced.
  TextReplacement(std::string text, std::string by) : text_(std::move(text)), by_(std::move(by)) {}

  /// What can go on.
  std::string take(std::string_view piece);
  /// What has waited, at the end of the stream.
  std::string rest() { return std::exchange(waiting_, {}); }

 private:
  std::string text_, by_, waiting_;
};

#endif
