#ifndef VELOX_KVF_PROCESS_LOCALSOCKETS_H
#define VELOX_KVF_PROCESS_LOCALSOCKETS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A Unix socket with a name; every open one has a number of its own.
struct LocalSocket {
  std::string name;  ///< of its file, or "@" and an abstract name
  std::uint64_t number = 0;
};

/// The Unix sockets that listen in this process's network, as the kernel answers when it is asked:
/// in /proc/net/unix a name may hold line ends, and so look like lines of other sockets. Nothing:
/// it does not answer, as where it was built without that.
std::optional<std::vector<LocalSocket>> listeningLocalSockets();

#endif
