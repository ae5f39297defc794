#include <csignal>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <ios>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "kvf/process/ListeningSockets.h"
#include "kvf/process/LocalSockets.h"
#include "support/Sandbox.h"

namespace {

TEST(ListeningSockets, WhatTheTablesOfTheSystemSay) {
  const std::string head = "  sl  local_address rem_address   st tx_queue rx_queue ...\n";
  const auto names = [](const std::vector<ListeningSocket>& sockets) {
    std::string text;
    for (const auto& socket : sockets)
      text += nameOf(socket.place) + " " + std::to_string(socket.number) + "\n";
    return text;
  };
  const std::string rest = " 00000000:00000000 00:00000000 00000000     0        0 ";
  EXPECT_EQ(names(listeningInTcpTable(
                head + "   0: 0100007F:1F90 00000000:0000 0A" + rest + "4711 1 00 100 0\n" +
                "   1: 0100007F:1F90 0100007F:9C40 01" + rest + "4712 1 00 20 4\n" +
                "  10: 00000000:0016 00000000:0000 0A" + rest + "18446744073709551615 1\n" +
                "  11: 00000000 0 0A" + rest + "1\n 12:\n\n")),
            "127.0.0.1:8080 4711\n0.0.0.0:22 18446744073709551615\n");
  const std::string none = " 00000000000000000000000000000000:0000 0A";
  EXPECT_EQ(names(listeningInTcpTable(
                head + "   0: 00000000000000000000000001000000:0050" + none + rest + "1 1\n" +
                "   1: 0000000000000000FFFF00000100007F:0051" + none + rest + "2 1\n" +
                "   2: B80D0120000000000000000001000000:0052" + none + rest + "3 1\n")),
            "[::1]:80 1\n127.0.0.1:81 2\n[2001:db8::1]:82 3\n");
  EXPECT_EQ(names(listeningInUnixTable(
                "Num       RefCount Protocol Flags    Type St Inode Path\n"
                "0000000000000000: 00000002 00000000 00010000 0001 01   123 /run/two words\n"
                "0000000000000000: 00000003 00000000 00000000 0001 03 45678 /run/connected\n"
                "0000000000000000: 00000002 00000000 00010000 0005 01 45679 @abstract\n"
                "0000000000000000: 00000002 00000000 00010000 0001 01 45680\n")),
            "/run/two words 123\n@abstract 45679\n");
}

TEST(ListeningSockets, WhoServesWhom) {
  const auto isServed = [](const std::string& bound, const std::string& wanted) {
    return serves({tcpPlace(bound).value(), 1}, tcpPlace(wanted).value(), 0);
  };
  struct Case {
    std::string bound, wanted;
    bool served;
  };
  const Case cases[] = {
      {"127.0.0.1:80", "80", true},
      {"127.0.0.1:80", "81", false},
      {"127.0.0.1:80", "127.0.0.1:80", true},
      {"127.0.0.1:80", "127.0.0.2:80", false},
      {"0.0.0.0:80", "127.0.0.1:80", true},
      {"127.0.0.1:80", "0.0.0.0:80", false},
      {"0.0.0.0:80", "[::1]:80", false},
      {"[::]:80", "127.0.0.1:80", true},
      {"[::]:80", "[::1]:80", true},
      {"[::1]:80", "127.0.0.1:80", false},
      {"[::ffff:127.0.0.1]:80", "127.0.0.1:80", true},
  };
  for (const Case& row : cases)
    EXPECT_EQ(isServed(row.bound, row.wanted), row.served) << row.bound << " " << row.wanted;
  for (const char* text : {"", "0", "65536", "80x", ":80", "localhost:80", "::1:80", "[::1]", "1:"})
    EXPECT_EQ(tcpPlace(text).has_value(), false) << text;
}

int listening(const void* address, std::size_t length, int family) {
  const int handle = ::socket(family, SOCK_STREAM, 0);
  const auto* const generic = static_cast<const sockaddr*>(address);
  if (::bind(handle, generic, static_cast<socklen_t>(length)) != 0 || ::listen(handle, 1) != 0)
    ::_exit(9);
  return handle;
}

void listenOn(const std::string& name) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  name.copy(address.sun_path, sizeof address.sun_path - 1);
  if (name[0] == '@') address.sun_path[0] = '\0';
  listening(&address, offsetof(sockaddr_un, sun_path) + name.size(), AF_UNIX);
}

/// On 127.0.0.1.
void listenOnSomePort() {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  listening(&address, sizeof address, AF_INET);
  ::dprintf(STDOUT_FILENO, "listens\n");
}

class Ready : public testing::Test {
 protected:
  [[nodiscard]] Outcome ready(const Child& child, Texts arguments, Start start = {}) const {
    arguments.insert(arguments.begin(), {VELOX_KVF, "ready", "--pid", std::to_string(child.id())});
    start.looksAtProcesses = true;
    return sandbox_.run(arguments, start);
  }
  [[nodiscard]] static std::string process(const Child& child) {
    return "kvf: process " + std::to_string(child.id()) + " ";
  }

  Sandbox sandbox_;
};

TEST_F(Ready, WaitsForTheSocketOfThatProcessByAnyOfItsNames) {
  const std::string name = sandbox_.path("a b.sock");
  Child child([&] {
    ::usleep(200'000);
    if (::chdir(sandbox_.path().c_str()) != 0) ::_exit(9);
    listenOn("a b.sock");
    listenOn("@" + sandbox_.path());
    ::pause();
  });
  EXPECT_EQ(ready(child, {"--unix", name, "--unix", "@" + sandbox_.path()}), (Outcome{0, ""}));
  EXPECT_EQ(ready(child, {"--unix", "a b.sock", "--timeout", "0"}), (Outcome{0, ""}));
  EXPECT_EQ(ready(child, {"--unix", name, "--unix", "@other", "--timeout", "0"}),
            (Outcome{1, process(child) + "does not listen on @other; it listens on @" +
                            sandbox_.path() + ", a b.sock\n"}));

  Child stranger([] { ::pause(); });
  EXPECT_EQ(ready(stranger, {"--unix", "@" + sandbox_.path(), "--timeout", "1"}),
            (Outcome{1, process(stranger) + "does not listen on @" + sandbox_.path() +
                            " after 1 s; another process does; it listens nowhere\n"}));
}

TEST_F(Ready, ANameThatLooksLikeALineOfTheTableIsNone) {
  if (!listeningLocalSockets()) GTEST_SKIP() << "this kernel has but the table";
  struct stat own = {};
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  Child child([&] {
    const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
    if (::fstat(handle, &own) != 0 || ::write(ends[1], &own.st_ino, sizeof own.st_ino) < 0)
      ::_exit(9);
    ::pause();
  });
  ASSERT_EQ(::read(ends[0], &own.st_ino, sizeof own.st_ino),
            static_cast<ssize_t>(sizeof own.st_ino));
  Child forger([&] {
    if (::chdir(sandbox_.path().c_str()) != 0) ::_exit(9);
    listenOn("@\n0: 00000002 00000000 00010000 0001 01 " + std::to_string(own.st_ino) + " @acme");
    ::dprintf(STDOUT_FILENO, "listens\n");
    ::pause();
  });
  ASSERT_TRUE(forger.prints("listens\n"));
  EXPECT_EQ(ready(child, {"--unix", "@acme", "--timeout", "0"}),
            (Outcome{1, process(child) + "does not listen on @acme; it listens nowhere\n"}));
  for (const int end : ends) ::close(end);
}

TEST_F(Ready, AChildOfTheProcessCounts) {
  Child parent([] {
    if (::fork() == 0) listenOnSomePort();
    ::pause();
  });
  ASSERT_TRUE(parent.prints("listens\n"));
  const Outcome outcome = ready(parent, {"--tcp", "1", "--timeout", "0"});
  const std::string before = "it listens on 127.0.0.1:";
  ASSERT_TRUE(outcome.has(before));
  std::string port = outcome.out.substr(outcome.out.find(before) + before.size());
  port.pop_back();
  EXPECT_EQ(ready(parent, {"--tcp", "127.0.0.1:" + port}), (Outcome{0, ""}));
}

/// A socket of that kind on the loopback of its family, at a port of the system's choice.
int boundToSomePort(int family, int type) {
  const int handle = ::socket(family, type, 0);
  sockaddr_in6 address = {};
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  auto* const four = reinterpret_cast<sockaddr_in*>(&address);
  socklen_t size = family == AF_INET6 ? sizeof address : sizeof *four;
  generic->sa_family = static_cast<sa_family_t>(family);
  if (family == AF_INET6) {
    address.sin6_addr = in6addr_loopback;
  } else {
    four->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  }
  if (::bind(handle, generic, size) != 0 || ::getsockname(handle, generic, &size) != 0) ::_exit(9);
  return handle;
}

TEST_F(Ready, OnlyASocketThatListensCounts) {
  Child child([&] {
    boundToSomePort(AF_INET, SOCK_STREAM);
    boundToSomePort(AF_INET, SOCK_DGRAM);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    sandbox_.path("bound").copy(address.sun_path, sizeof address.sun_path - 1);
    const int local = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    if (::bind(local, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) ::_exit(9);
    // A listener that is closed again counts no more.
    const int closed = boundToSomePort(AF_INET, SOCK_STREAM);
    if (::listen(closed, 1) != 0) ::_exit(9);
    ::close(closed);
    ::dprintf(STDOUT_FILENO, "bound\n");
    ::pause();
  });
  ASSERT_TRUE(child.prints("bound\n"));
  const std::string name = sandbox_.path("bound");
  EXPECT_EQ(ready(child, {"--unix", name, "--tcp", "1", "--timeout", "0"}),
            (Outcome{1, process(child) + "does not listen on " + name +
                            ", TCP port 1; it listens nowhere\n"}));
}

TEST_F(Ready, AListenerOfIPv6ServesItsOwnAddress) {
  Child child([] {
    const int handle = boundToSomePort(AF_INET6, SOCK_STREAM);
    if (::listen(handle, 1) != 0) ::_exit(9);
    ::dprintf(STDOUT_FILENO, "listens\n");
    ::pause();
  });
  if (!child.prints("listens\n")) GTEST_SKIP() << "no IPv6 here";
  const Outcome outcome = ready(child, {"--tcp", "1", "--timeout", "0"});
  const std::string before = "it listens on [::1]:";
  ASSERT_TRUE(outcome.has(before));
  std::string port = outcome.out.substr(outcome.out.find(before) + before.size());
  port.pop_back();
  EXPECT_EQ(ready(child, {"--tcp", port}), (Outcome{0, ""}));
  EXPECT_EQ(ready(child, {"--tcp", "[::1]:" + port}), (Outcome{0, ""}));
  EXPECT_EQ(ready(child, {"--tcp", "127.0.0.1:" + port, "--timeout", "0"}).status, 1);
}

TEST_F(Ready, ASocketThatIsHandedDownIsTheReceiversToo) {
  Child child([] {
    const int handle = boundToSomePort(AF_INET, SOCK_STREAM);
    if (::listen(handle, 1) != 0) ::_exit(9);
    int closed[2] = {-1, -1};
    if (::pipe(closed) != 0) ::_exit(9);
    const pid_t heir = ::fork();
    if (heir == 0) {
      ::close(closed[1]);
      char none = 0;
      (void)!::read(closed[0], &none, 1);
      ::dprintf(STDOUT_FILENO, "%d\n", ::getpid());
      ::pause();
    }
    ::close(handle);
    ::close(closed[1]);
    ::pause();
  });
  ASSERT_TRUE(child.prints("\n"));
  EXPECT_TRUE(ready(child, {"--tcp", "1", "--timeout", "0"}).has("it listens on 127.0.0.1:"));
}

/// Waits until the process handles the signal.
void awaitHandler(pid_t process, int signal) {
  for (;;) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (status >> word && word != "SigCgt:") {
    }
    unsigned long caught = 0;
    if (!(status >> std::hex >> caught) || (caught >> (signal - 1) & 1U) != 0) return;
    ::usleep(1000);
  }
}

TEST_F(Ready, EndsWithTheProcessOrASignal) {
  Child child([] { ::usleep(300'000); });
  EXPECT_EQ(ready(child, {"--tcp", "1"}),
            (Outcome{1, process(child) + "has ended without listening on TCP port 1\n"}));
  for (const char* none : {"", "@"}) EXPECT_EQ(ready(child, {"--unix", none}).status, 2) << none;
  const std::string id = std::to_string(child.id());
  child.wait();
  EXPECT_EQ(sandbox_.run({VELOX_KVF, "ready", "--pid", id, "--tcp", "1"}),
            (Outcome{1, "kvf: there is no process " + id + "\n"}));

  Child other([] { ::pause(); });
  Child waiting =
      sandbox_.start({VELOX_KVF, "ready", "--pid", std::to_string(other.id()), "--tcp", "1"});
  awaitHandler(waiting.id(), SIGTERM);
  ::kill(waiting.id(), SIGTERM);
  EXPECT_EQ(waiting.wait(), (Outcome{128 + SIGTERM, "kvf: Terminated\n"}));
}

TEST_F(Ready, SaysWhatItCannotSee) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root has processes of other users";
  Child child([] { ::pause(); });
  EXPECT_EQ(sandbox_.run({"setpriv", "--reuid=65534", "--clear-groups", VELOX_KVF, "ready", "--pid",
                          std::to_string(child.id()), "--tcp", "1", "--timeout", "0"}),
            (Outcome{2, "kvf: cannot see what process " + std::to_string(child.id()) +
                            " has open: Permission denied; ask as its user or as root, in a unit "
                            "by ExecStartPost=+\n"}));
}

}  // namespace
