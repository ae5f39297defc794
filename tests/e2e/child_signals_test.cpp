#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "e2e/LifecycleTest.h"

namespace {

/// Signals to a launcher that waits for a child.
class ChildSignals : public LifecycleTest {
 protected:
  /// A `java` that reports its signals and ends by USR2 with status 3; started by `runner`.
  void tellingJava(const std::string& runner) {
    sandbox_.write("tell",
                   "for name in TERM INT HUP QUIT USR1; do trap \"echo got $name\" $name; done\n"
                   "trap 'exit 3' USR2\n"
                   "echo ready\n"
                   "while :; do sleep 0.02; done\n");
    java("exec " + runner + " sh tell\n");
  }
  void java(const std::string& script) {
    kvf("java.path=" + sandbox_.write("java", "#!/bin/sh\n" + script, true) +
        "\njava.start.class=Main\nprocessID.file.name=pid\n");
  }
  [[nodiscard]] pid_t recordedId() const { return std::stoi(sandbox_.read("pid")); }

  /// What the launcher's exit status shows of a child that ended with status 3: the low byte of the
  /// raw wait status.
  static constexpr int low = 0;
};

TEST_F(ChildSignals, ReachTheChildAndTheLauncherWaitsOn) {
  tellingJava("");
  Child wrapper = startWrapper({"--cmdlineJava"});
  ASSERT_TRUE(wrapper.prints("ready\n"));
  std::string out = "ready\n";
  for (const auto& [name, signal] : {std::pair("TERM", SIGTERM),
                                     {"INT", SIGINT},
                                     {"HUP", SIGHUP},
                                     {"QUIT", SIGQUIT},
                                     {"USR1", SIGUSR1}}) {
    ::kill(wrapper.id(), signal);
    out += std::string("got ") + name + "\n";
    EXPECT_TRUE(wrapper.prints(out)) << name;
  }
  ::kill(wrapper.id(), SIGUSR2);
  EXPECT_EQ(wrapper.wait(), (Outcome{low, out}));
}

TEST_F(ChildSignals, OfTheTerminalAreNotPassedOn) {
  // The child has left the terminal, so what it hears comes from the launcher.
  tellingJava("setsid");
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(::grantpt(terminal), 0);
  ASSERT_EQ(::unlockpt(terminal), 0);
  const std::string name = ::ptsname(terminal);
  const auto useTerminal = [&] { ::dup2(::open(name.c_str(), O_RDWR | O_NOCTTY), STDIN_FILENO); };
  Child session = sandbox_.start(
      {"setsid", "--ctty", "--wait", VELOX_WRAPPER, "--propFile", "app.kvf", "--cmdlineJava"},
      {.inChild = useTerminal});
  ASSERT_TRUE(session.prints("ready\n"));
  ASSERT_EQ(::write(terminal, "\003", 1), 1);
  ::kill(recordedId(), SIGUSR1);
  ASSERT_TRUE(session.prints("got USR1\n"));
  ::kill(recordedId(), SIGUSR2);
  EXPECT_EQ(session.wait(), (Outcome{low, "ready\ngot USR1\n"}));
  ::close(terminal);
}

TEST_F(ChildSignals, ThatAreIgnoredStayIgnored) {
  tellingJava("env --default-signal=HUP");
  Child wrapper = startWrapper({"--cmdlineJava"}, {.inChild = [] { ::signal(SIGHUP, SIG_IGN); }});
  ASSERT_TRUE(wrapper.prints("ready\n"));
  ::kill(wrapper.id(), SIGHUP);
  ::kill(wrapper.id(), SIGUSR2);
  EXPECT_EQ(wrapper.wait(), (Outcome{low, "ready\n"}));
}

TEST_F(ChildSignals, OfTheChildItselfDoNotComeBack) {
  java("trap 'echo got TERM' TERM\nkill -TERM $PPID\nsleep 0.1\necho end\n");
  EXPECT_EQ(wrapper({"--cmdlineJava"}), (Outcome{0, "end\n"}));
}

TEST_F(ChildSignals, HaveTheMaskAndActionsThatTheLauncherHad) {
  java("exec grep -E 'Sig(Blk|Ign|Cgt)' /proc/self/status\n");
  const Start start = {.inChild = [] {
    ::signal(SIGINT, SIG_IGN);
    ::signal(SIGCHLD, SIG_IGN);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGUSR1);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
  }};
  EXPECT_EQ(wrapper({"--cmdlineJava"}, start), sandbox_.run({"./java"}, start));
}

TEST_F(ChildSignals, WaitForAStoppedLauncherToContinue) {
  tellingJava("");
  Child wrapper = startWrapper({"--cmdlineJava"});
  ASSERT_TRUE(wrapper.prints("ready\n"));
  ::kill(-wrapper.id(), SIGSTOP);
  ::kill(wrapper.id(), SIGTERM);
  ::kill(-wrapper.id(), SIGCONT);
  EXPECT_TRUE(wrapper.prints("ready\ngot TERM\n"));
}

TEST_F(ChildSignals, TheChildsEndBySignalIsTheRawStatus) {
  java("echo ready\nexec sleep 60\n");
  Child wrapper = startWrapper({"--cmdlineJava"});
  ASSERT_TRUE(wrapper.prints("ready\n"));
  ::kill(wrapper.id(), SIGTERM);
  EXPECT_EQ(wrapper.wait(), (Outcome{SIGTERM, "ready\n"}));
}

TEST_F(ChildSignals, ReachTheChildOfTheFirstProcess) {
  if (!hasProcessNamespaces()) GTEST_SKIP() << "no process namespaces here";
  java("echo ready\nexec sleep 60\n");
  Child first =
      sandbox_.start(asFirstProcess({VELOX_WRAPPER, "--propFile", "app.kvf", "--cmdlineJava"}));
  ASSERT_TRUE(first.prints("ready\n"));
  EXPECT_EQ(sandbox_.read("pid"), "1");
  ::kill(childOf(first.id()), SIGTERM);
  EXPECT_EQ(first.wait(), (Outcome{SIGTERM, "ready\n"}));
}

TEST_F(ChildSignals, EndTheLauncherThatIsAdjustingOnceTheAdjusterHasEnded) {
  kvf("application.library=" + library(3) + "\nvelox.adjuster.class.path=x\n");
  const std::string adjusting =
      "registered\narg[-wrapper]\narg[-file]\narg[" + sandbox_.path("app.kvf") + "]\n";
  const std::string closed = adjusting + "3 closed at the end\n";
  const Outcome goesOn = {255, closed + "Failed to open properties file : app.kvf.adj\n"};
  const struct {
    int signal;
    Outcome whenHeeded;  ///< by an adjuster that ends normally
  } rows[] = {
      {SIGTERM, {143, closed}}, {SIGINT, {130, closed}}, {SIGHUP, {129, closed}},
      {SIGQUIT, goesOn},        {SIGUSR1, goesOn},
  };
  for (const auto& [signal, whenHeeded] : rows) {
    for (const char* how : {"wait", "heed"}) {
      SCOPED_TRACE(std::to_string(signal) + " " + how);
      Child wrapper = startWrapper({}, {.environment = {{"STATUS", how}}});
      ASSERT_TRUE(wrapper.prints(adjusting));
      ::kill(wrapper.id(), signal);
      const bool isHeeded = how == std::string("heed");
      EXPECT_EQ(wrapper.wait(), isHeeded ? whenHeeded : (Outcome{128 + signal, adjusting}));
    }
  }
  if (!hasProcessNamespaces()) GTEST_SKIP() << "no process namespaces here";
  Child first = sandbox_.start(asFirstProcess({VELOX_WRAPPER, "--propFile", "app.kvf"}),
                               {.environment = {{"STATUS", "wait"}}});
  ASSERT_TRUE(first.prints(adjusting));
  ::kill(childOf(first.id()), SIGTERM);
  EXPECT_EQ(first.wait(), (Outcome{143, adjusting}));
}

TEST_F(ChildSignals, LeaveNoZombiesToTheFirstProcess) {
  if (!hasProcessNamespaces()) GTEST_SKIP() << "no process namespaces here";
  java(
      "orphan=$(sh -c 'sleep 0.1 >/dev/null & echo $!')\n"
      "while kill -0 $orphan 2>/dev/null; do sleep 0.02; done\necho no zombie\n");
  EXPECT_EQ(sandbox_.run(asFirstProcess({VELOX_WRAPPER, "--propFile", "app.kvf", "--cmdlineJava"})),
            (Outcome{0, "no zombie\n"}));
}

}  // namespace
