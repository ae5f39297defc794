#include "kvf/process/LocalSockets.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <sys/socket.h>

#include "kvf/process/Descriptor.h"

namespace {

constexpr std::uint32_t listens = 10;
constexpr std::size_t answerBytes = 32768;

struct Question {
  nlmsghdr header;
  unix_diag_req body;
};

bool ask(int socket) {
  Question question = {};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  question.body.sdiag_family = AF_UNIX;
  question.body.udiag_states = 1U << listens;
  question.body.udiag_show = UDIAG_SHOW_NAME;
  return ::send(socket, &question, sizeof question, 0) == sizeof question;
}

/// As the table of the system spells it: a NUL of an abstract name is "@".
std::string nameIn(std::string_view bytes) {
  std::string name(bytes);
  if (!name.starts_with('\0')) return name.substr(0, name.find('\0'));
  std::replace(name.begin(), name.end(), '\0', '@');
  return name;
}

std::uint32_t lengthOf(const nlmsghdr& header) {
  return header.nlmsg_len;
}

std::uint32_t lengthOf(const rtattr& header) {
  return header.rta_len;
}

/// Takes the structure from the front; false when there is less.
template <class Structure>
bool take(std::string_view& bytes, Structure& structure) {
  if (bytes.size() < sizeof structure) return false;
  std::memcpy(&structure, bytes.data(), sizeof structure);
  bytes.remove_prefix(sizeof structure);
  return true;
}

/// Takes a header and the body behind it, whose length it has; false when there is no whole one.
template <class Header>
bool takeMessage(std::string_view& bytes, Header& header, std::string_view& body) {
  if (!take(bytes, header) || lengthOf(header) < sizeof header) return false;
  const std::size_t size = lengthOf(header) - sizeof header;
  if (size > bytes.size()) return false;
  body = bytes.substr(0, size);
  constexpr std::size_t alignment = 4;
  bytes.remove_prefix(std::min((size + alignment - 1) / alignment * alignment, bytes.size()));
  return true;
}

void addSocket(std::string_view message, std::vector<LocalSocket>& sockets) {
  unix_diag_msg socket = {};
  if (!take(message, socket)) return;
  rtattr attribute = {};
  for (std::string_view value; takeMessage(message, attribute, value);)
    if (attribute.rta_type == UNIX_DIAG_NAME) sockets.push_back({nameIn(value), socket.udiag_ino});
}

}  // namespace

std::optional<std::vector<LocalSocket>> listeningLocalSockets() {
  const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  if (socket.number() < 0 || !ask(socket.number())) return std::nullopt;
  std::vector<LocalSocket> sockets;
  std::array<char, answerBytes> buffer = {};
  for (;;) {
    const ssize_t count = ::recv(socket.number(), buffer.data(), buffer.size(), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    std::string_view answer(buffer.data(), static_cast<std::size_t>(count));
    nlmsghdr header = {};
    for (std::string_view body; takeMessage(answer, header, body);) {
      if (header.nlmsg_type == NLMSG_DONE) return sockets;
      if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY) return std::nullopt;
      addSocket(body, sockets);
    }
  }
}
