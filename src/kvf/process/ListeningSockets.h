#ifndef VELOX_KVF_PROCESS_LISTENINGSOCKETS_H
#define VELOX_KVF_PROCESS_LISTENINGSOCKETS_H

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// One of IPv4 is mapped, ::ffff:127.0.0.1.
using IpAddress = std::array<unsigned char, 16>;

struct TcpPlace {
  std::optional<IpAddress> address;  ///< none: any
  std::uint16_t port = 0;
};

struct LocalPlace {
  std::string name;  ///< the file of a Unix socket, or "@" and an abstract name
};

using ListeningPlace = std::variant<TcpPlace, LocalPlace>;

/// "8080", "127.0.0.1:8080" or "[::1]:8080"; nothing for other texts.
std::optional<TcpPlace> tcpPlace(std::string_view text);

/// "TCP port 8080", "127.0.0.1:8080", "[::1]:8080", "/run/acme.sock".
std::string nameOf(const ListeningPlace& place);

/// A socket that listens; every open one has a number of its own.
struct ListeningSocket {
  ListeningPlace place;
  std::uint64_t number = 0;
};

/// What listens, from tables such as /proc/net/tcp, tcp6 and unix.
std::vector<ListeningSocket> listeningInTcpTable(std::string_view table);
std::vector<ListeningSocket> listeningInUnixTable(std::string_view table);

/// Everything that listens in the network of the process, in any process.
std::vector<ListeningSocket> listeningSockets(int process);

/// True when a client of the wanted place reaches the socket, if the process has it. A socket of
/// all addresses serves each of them, one of [::] those of IPv4, too.
bool serves(const ListeningSocket& socket, const ListeningPlace& wanted, int process);

struct OpenSockets {
  std::set<std::uint64_t> numbers;
  int error = 0;  ///< why they cannot be seen, errno's number
};

OpenSockets openSocketsOf(int process);

#endif
