#ifndef VELOX_PLATFORM_STREAM_H
#define VELOX_PLATFORM_STREAM_H

#include <cstdio>
#include <memory>
#include <string>

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// Owns a stdio stream.
using Stream = std::unique_ptr<std::FILE, CloseStream>;

/// fopen with a descriptor that programs started later do not inherit; null on failure with errno
/// set.
inline Stream openStream(const char* path, const char* mode) {
  return Stream(std::fopen(path, (std::string(mode) + 'e').c_str()));
}

#endif
