#include "kvf/process/ListeningSockets.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <arpa/inet.h>
#include <sys/stat.h>

#include "kvf/process/LocalSockets.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t mappedPrefixBytes = 12;
constexpr IpAddress allOfIpv4 = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
constexpr IpAddress allAddresses = {};

bool isIpv4(const IpAddress& address) {
  return std::equal(address.begin(), address.begin() + mappedPrefixBytes, allOfIpv4.begin());
}

IpAddress mapped(const void* ipv4) {
  IpAddress address = allOfIpv4;
  std::memcpy(address.data() + mappedPrefixBytes, ipv4, address.size() - mappedPrefixBytes);
  return address;
}

template <class Number>
std::optional<Number> numberIn(std::string_view text, int base) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// Addresses are 32-bit numbers in the byte order of this machine.
std::optional<IpAddress> addressInTable(std::string_view text) {
  constexpr std::size_t digits = 8;
  IpAddress address = {};
  std::size_t bytes = 0;
  for (; text.size() >= digits && bytes < address.size(); text.remove_prefix(digits)) {
    const auto word = numberIn<std::uint32_t>(text.substr(0, digits), 16);
    if (!word) return std::nullopt;
    std::memcpy(address.data() + bytes, &*word, sizeof *word);
    bytes += sizeof *word;
  }
  if (!text.empty() || (bytes != 4 && bytes != address.size())) return std::nullopt;
  return bytes == 4 ? mapped(address.data()) : address;
}

/// Takes the next line.
std::string_view nextLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

/// Takes the next word; what separates them is blanks.
std::string_view nextWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  const std::string_view word = line.substr(0, line.find(' '));
  line.remove_prefix(word.size());
  return word;
}

std::string wholeText(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// One socket file has many names: links, and names relative to a process's folder.
bool isSameSocketFile(const std::string& bound, const std::string& wanted, int process) {
  const std::string seenHere =
      bound.starts_with('/') ? bound : "/proc/" + std::to_string(process) + "/cwd/" + bound;
  struct stat one = {};
  struct stat other = {};
  return ::stat(wanted.c_str(), &one) == 0 && S_ISSOCK(one.st_mode) &&
         ::stat(seenHere.c_str(), &other) == 0 && one.st_dev == other.st_dev &&
         one.st_ino == other.st_ino;
}

}  // namespace

std::optional<TcpPlace> tcpPlace(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  const bool hasAddress = colon != std::string_view::npos;
  TcpPlace place;
  const auto port = numberIn<std::uint16_t>(hasAddress ? text.substr(colon + 1) : text, 10);
  if (!port || *port == 0) return std::nullopt;
  place.port = *port;
  if (!hasAddress) return place;

  std::string address(text.substr(0, colon));
  place.address.emplace();
  in_addr ipv4 = {};
  if (::inet_pton(AF_INET, address.c_str(), &ipv4) == 1) {
    place.address = mapped(&ipv4);
    return place;
  }
  if (!address.starts_with('[') || !address.ends_with(']')) return std::nullopt;
  address = address.substr(1, address.size() - 2);
  if (::inet_pton(AF_INET6, address.c_str(), place.address->data()) != 1) return std::nullopt;
  return place;
}

std::string nameOf(const ListeningPlace& place) {
  if (const auto* local = std::get_if<LocalPlace>(&place)) return local->name;
  const TcpPlace& tcp = std::get<TcpPlace>(place);
  const std::string port = std::to_string(tcp.port);
  if (!tcp.address) return "TCP port " + port;
  char text[INET6_ADDRSTRLEN] = {};
  if (isIpv4(*tcp.address)) {
    ::inet_ntop(AF_INET, tcp.address->data() + mappedPrefixBytes, text, sizeof text);
    return std::string(text) + ":" + port;
  }
  ::inet_ntop(AF_INET6, tcp.address->data(), text, sizeof text);
  return "[" + std::string(text) + "]:" + port;
}

std::vector<ListeningSocket> listeningInTcpTable(std::string_view table) {
  constexpr std::string_view listens = "0A";
  constexpr int wordsBetween = 5;
  std::vector<ListeningSocket> sockets;
  nextLine(table);
  while (!table.empty()) {
    std::string_view line = nextLine(table);
    nextWord(line);
    const std::string_view local = nextWord(line);
    nextWord(line);
    if (nextWord(line) != listens) continue;
    for (int count = 0; count < wordsBetween; ++count) nextWord(line);
    const std::size_t colon = std::min(local.find(':'), local.size() - 1);
    const auto address = addressInTable(local.substr(0, colon));
    const auto port = numberIn<std::uint16_t>(local.substr(colon + 1), 16);
    const auto number = numberIn<std::uint64_t>(nextWord(line), 10);
    if (address && port && number) sockets.push_back({TcpPlace{address, *port}, *number});
  }
  return sockets;
}

std::vector<ListeningSocket> listeningInUnixTable(std::string_view table) {
  constexpr unsigned acceptsConnections = 0x10000;
  std::vector<ListeningSocket> sockets;
  nextLine(table);
  while (!table.empty()) {
    std::string_view line = nextLine(table);
    for (int count = 0; count < 3; ++count) nextWord(line);
    const auto flags = numberIn<unsigned>(nextWord(line), 16);
    for (int count = 0; count < 2; ++count) nextWord(line);
    const auto number = numberIn<std::uint64_t>(nextWord(line), 10);
    if (!flags || (*flags & acceptsConnections) == 0 || !number || line.empty()) continue;
    // One blank, and a name that may hold others.
    sockets.push_back({LocalPlace{std::string(line.substr(1))}, *number});
  }
  return sockets;
}

namespace {

std::vector<ListeningSocket> localSockets(int process) {
  const std::string folder = "/proc/" + std::to_string(process);
  std::error_code error;
  if (fs::equivalent(folder + "/ns/net", "/proc/self/ns/net", error)) {
    if (const auto asked = listeningLocalSockets()) {
      std::vector<ListeningSocket> sockets;
      for (const LocalSocket& socket : *asked)
        sockets.push_back({LocalPlace{socket.name}, socket.number});
      return sockets;
    }
  }
  return listeningInUnixTable(wholeText(folder + "/net/unix"));
}

}  // namespace

std::vector<ListeningSocket> listeningSockets(int process) {
  // The table of the process itself: it may have a network of its own.
  const std::string folder = "/proc/" + std::to_string(process) + "/net/";
  std::vector<ListeningSocket> sockets = listeningInTcpTable(wholeText(folder + "tcp"));
  for (const auto& more : {listeningInTcpTable(wholeText(folder + "tcp6")), localSockets(process)})
    sockets.insert(sockets.end(), more.begin(), more.end());
  return sockets;
}

bool serves(const ListeningSocket& socket, const ListeningPlace& wanted, int process) {
  if (socket.place.index() != wanted.index()) return false;
  if (const auto* local = std::get_if<LocalPlace>(&wanted)) {
    const std::string& bound = std::get<LocalPlace>(socket.place).name;
    const bool isAbsolute = local->name.starts_with('/') || local->name.starts_with('@');
    return (isAbsolute && bound == local->name) || isSameSocketFile(bound, local->name, process);
  }
  const TcpPlace& place = std::get<TcpPlace>(wanted);
  const TcpPlace& bound = std::get<TcpPlace>(socket.place);
  if (bound.port != place.port) return false;
  return !place.address || bound.address == place.address || bound.address == allAddresses ||
         (bound.address == allOfIpv4 && isIpv4(*place.address));
}

OpenSockets openSocketsOf(int process) {
  constexpr std::string_view prefix = "socket:[";
  OpenSockets sockets;
  std::error_code error;
  const std::string folder = "/proc/" + std::to_string(process) + "/fd";
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code gone;
    const std::string target = fs::read_symlink(entry->path(), gone);
    if (!target.starts_with(prefix)) continue;
    const auto number = numberIn<std::uint64_t>(
        std::string_view(target).substr(prefix.size(), target.size() - prefix.size() - 1), 10);
    if (number) sockets.numbers.insert(*number);
  }
  sockets.error = error.value();
  return sockets;
}
