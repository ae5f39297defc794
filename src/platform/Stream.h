#ifndef VELOX_PLATFORM_STREAM_H
#define VELOX_PLATFORM_STREAM_H

#include <cstdio>
#include <memory>

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// Owns a stdio stream.
using Stream = std::unique_ptr<std::FILE, CloseStream>;

/// What opening a named pipe does that nobody has opened at its other end.
enum class PipeOpening {
  isEmpty,  ///< reads nothing; for writing it cannot be opened
  waits     ///< for the other end
};

/// Opens a file in a mode of fopen's, "r" or "w" with an optional "b", with a descriptor that
/// programs started later do not inherit. Null on failure with errno set.
[[nodiscard]] Stream openStream(const char* path, const char* mode,
                                PipeOpening pipe = PipeOpening::isEmpty);

/// Closes a stream that was written to; false when any of what was written is lost.
[[nodiscard]] bool closeWritten(Stream stream);

#endif
