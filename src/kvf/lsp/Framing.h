#ifndef VELOX_KVF_LSP_FRAMING_H
#define VELOX_KVF_LSP_FRAMING_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// How messages are framed in a stream: header fields, each with a line end (a carriage return and
/// a line feed; the feed alone is taken too), an empty line, and as many bytes as the field
/// Content-Length says.
std::string framed(std::string_view body);

/// Takes messages out of a stream, however its bytes come.
class MessageReader {
 public:
  /// Longer ones are refused.
  static constexpr std::size_t maxBytes = std::size_t{256} << 20U;

  struct Message {
    std::string body;
    std::string error;  ///< why there is no body, as a sentence without a full stop
  };

  void add(std::string_view bytes);
  /// The next message that is complete, or what was wrong instead of one. After an error everything
  /// up to the next "Content-Length:" is skipped.
  std::optional<Message> next();

 private:
  /// Looks for the end of the header; what is wrong with it, or an empty text.
  std::string readHeader();
  bool findNextHeader();
  void compact();

  std::string bytes_;
  std::size_t at_ = 0;
  std::optional<std::size_t> length_;  ///< of the body that comes next
  bool lost_ = false;                  ///< looking for the next header
};

#endif
