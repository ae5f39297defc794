#include "platform/Stream.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "foundation/WriteSignalGuard.h"

Stream openStream(const char* path, const char* mode, PipeOpening pipe) {
  const int access = *mode == 'r' ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
  const int waiting = pipe == PipeOpening::waits ? 0 : O_NONBLOCK;
  int descriptor = -1;
  do {
    descriptor = ::open(path, access | O_CLOEXEC | O_NOCTTY | waiting, 0666);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) return nullptr;
  // Reading does wait, for what a writer that is there has yet to write.
  if (waiting != 0) ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  Stream stream(::fdopen(descriptor, mode));
  if (!stream) ::close(descriptor);
  return stream;
}

bool closeWritten(Stream stream) {
  const WriteSignalGuard guard;
  const bool written = std::fflush(stream.get()) == 0 && std::ferror(stream.get()) == 0;
  return std::fclose(stream.release()) == 0 && written;
}
