#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

#include "e2e/LifecycleTest.h"
#include "hosting/CppProcess.h"
#include "launcher/wrap.h"

namespace {

/// What signals do to an application in the launcher's own process.
class StopSignals : public LifecycleTest {
 protected:
  const std::string key_ = "application.stop.signals=TERM, SIGINT\n";
  const std::string native_ = "application.library=" VELOX_NATIVE_DIRECTORY "/libstoppable.so\n";
};

TEST_F(StopSignals, WithoutTheKeyGoToTheJvm) {
  lifecycle();
  const struct {
    int signal;
    std::string out;
  } rows[] = {{SIGTERM, "hook\n"}, {SIGINT, "hook\n"}, {SIGHUP, "hook\n"}, {SIGUSR1, ""}};
  for (const char* mode : {"wait", "linger"}) {
    for (const auto& [signal, out] : rows) {
      SCOPED_TRACE(std::string(mode) + " " + std::to_string(signal));
      Child java = startJava(mode);
      ASSERT_TRUE(java.prints("ready\n"));
      ::kill(java.id(), signal);
      EXPECT_EQ(java.wait(), (Outcome{128 + signal, "ready\n" + out}));
    }
  }
  Child java = startJava("wait");
  ASSERT_TRUE(java.prints("ready\n"));
  ::kill(java.id(), SIGQUIT);
  EXPECT_TRUE(java.prints("Full thread dump"));
}

TEST_F(StopSignals, CallTheStopMethodOnceAndMainsStatusCounts) {
  const struct {
    const char* mode;
    const char* method;
    Outcome expected;
  } rows[] = {
      {"wait", "shutdown", {0, "ready\nstop\nhook\n"}},
      {"linger", "shutdown", {0, "ready\nstop\nhook\n"}},
      {"wait", "slowStop", {0, "ready\nslow stop ends\nhook\n"}},
      {"wait", "missing", {143, "ready\nhook\n"}},
  };
  for (const auto& [mode, method, expected] : rows) {
    SCOPED_TRACE(std::string(mode) + " " + method);
    lifecycle(key_ + "java.stop.method=" + method + "\n");
    Child java = startJava(mode);
    ASSERT_TRUE(java.prints("ready\n"));
    ::kill(java.id(), SIGTERM);
    EXPECT_EQ(java.wait(), expected);
  }
  lifecycle(key_);
  Child failing = startJava("fail");
  ASSERT_TRUE(failing.prints("ready\n"));
  ::kill(failing.id(), SIGINT);
  const Outcome failed = failing.wait();
  EXPECT_EQ(failed.status, 1);
  EXPECT_TRUE(failed.has("stop\nWRAPPER - start method threw an exception\n"));
}

TEST_F(StopSignals, GoToTheJvmWhenTheStopMethodThrowsOrHangs) {
  lifecycle(key_ + "java.stop.method=failingStop\n");
  Child failing = startJava("wait");
  ASSERT_TRUE(failing.prints("ready\n"));
  ::kill(failing.id(), SIGTERM);
  const Outcome failed = failing.wait();
  EXPECT_EQ(failed.status, 143);
  EXPECT_TRUE(failed.has("IllegalStateException: failing stop") && failed.has("\nhook\n"));

  lifecycle(key_ + "java.stop.method=stuckStop\n");
  Child stuck = startJava("wait");
  ASSERT_TRUE(stuck.prints("ready\n"));
  ::kill(stuck.id(), SIGTERM);
  ASSERT_TRUE(stuck.prints("stuck\n"));
  ::kill(stuck.id(), SIGINT);
  EXPECT_EQ(stuck.wait(), (Outcome{130, "ready\nstuck\nhook\n"}));
}

TEST_F(StopSignals, EndTheProcessWhoseJvmTakesNoThreadForTheStopMethod) {
  kvf("java.library=" VELOX_NATIVE_DIRECTORY "/libunattachable_jvm.so\njava.start.class=Main\n" +
      key_);
  Child java = startWrapper({"--run", "--debug"});
  ASSERT_TRUE(java.prints("\nready\n"));
  ::kill(java.id(), SIGTERM);
  const Outcome outcome = java.wait();
  EXPECT_EQ(outcome.status, 143);
  EXPECT_TRUE(
      outcome.out.ends_with("\nready\nAppStop() - Failed to attach current thread to JVM\n"))
      << outcome.out;
}

TEST_F(StopSignals, WorkAfterAdjustmentAndReExecution) {
  lifecycle(key_ + "velox.env.A=1\nvelox.adjuster.class.path=" VELOX_ADJUSTER_JAR "\n");
  Child java = startJava("wait");
  ASSERT_TRUE(java.prints("ready\n"));
  ::kill(java.id(), SIGTERM);
  const Outcome outcome = java.wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.out.ends_with("ready\nstop\nhook\n")) << outcome.out;
}

TEST_F(StopSignals, WorkInTheFirstProcess) {
  if (!hasProcessNamespaces()) GTEST_SKIP() << "no process namespaces here";
  kvf(native_ + key_);
  for (const char* how : {"", "stuck"}) {
    SCOPED_TRACE(how);
    // The leak check wants to halt a thread that is ending.
    Child first =
        sandbox_.start(asFirstProcess({VELOX_WRAPPER, "--propFile", "app.kvf"}),
                       {.environment = {{"STOP", how}, {"ASAN_OPTIONS", "detect_leaks=0"}}});
    ASSERT_TRUE(first.prints("ready\n"));
    ::kill(childOf(first.id()), SIGTERM);
    if (*how == '\0') {
      EXPECT_EQ(first.wait(), (Outcome{7, "ready\nstop\n"}));
    } else {
      ASSERT_TRUE(first.prints("stuck\n"));
      ::kill(childOf(first.id()), SIGTERM);
      EXPECT_EQ(first.wait(), (Outcome{143, "ready\nstuck\n"}));
    }
  }
}

TEST_F(StopSignals, StopANativeApplicationOrEndIt) {
  const struct {
    std::string properties;
    const char* how;
    Outcome expected;
  } rows[] = {
      {native_ + key_, "", {7, "ready\nstop\n"}},
      // An adjuster is not the application.
      {native_ + key_ + "velox.adjuster.class.path=x\n", "", {143, "ready\n"}},
      {native_ + key_, "stuck", {130, "ready\nstuck\n"}},
      // The application's own action replaces the key's.
      {native_ + key_, "by signal", {7, "ready\n"}},
  };
  for (const auto& [properties, how, expected] : rows) {
    SCOPED_TRACE(expected.out);
    kvf(properties);
    Child wrapper = startWrapper({}, {.environment = {{"STOP", how}}});
    ASSERT_TRUE(wrapper.prints("ready\n"));
    ::kill(wrapper.id(), SIGTERM);
    if (how == std::string("stuck")) {
      ASSERT_TRUE(wrapper.prints("stuck\n"));
      ::kill(wrapper.id(), SIGINT);
    }
    EXPECT_EQ(wrapper.wait(), expected);
  }
}

TEST_F(StopSignals, EndAHostProgramThatCannotBeStopped) {
  kvf(key_);
  const auto application = [](int, char**) -> int {
    std::puts("ready");
    std::fflush(stdout);
    for (;;) ::pause();
  };
  for (CppProcess::StopFunction stop : {CppProcess::StopFunction(nullptr), +[] { throw 1; }}) {
    Child host([&] {
      std::filesystem::current_path(sandbox_.path());
      Texts line = {VELOX_WRAPPER, "--propFile", "app.kvf", "--innerProcess"};
      std::exit(WrapperMain(4, pointersTo(line).data(), application, stop));
    });
    ASSERT_TRUE(host.prints("ready\n"));
    ::kill(host.id(), SIGTERM);
    EXPECT_EQ(host.wait(), (Outcome{143, "ready\n"})) << (stop == nullptr ? "none" : "throws");
  }
}

TEST_F(StopSignals, ThatAreIgnoredAreTakenExceptHup) {
  kvf(native_ + "application.stop.signals=INT,HUP\n");
  const Start start = {.inChild = [] {
    ::signal(SIGINT, SIG_IGN);
    ::signal(SIGHUP, SIG_IGN);
  }};
  Child wrapper = startWrapper({}, start);
  ASSERT_TRUE(wrapper.prints("ready\n"));
  const std::string status = sandbox_.read("/proc/" + std::to_string(wrapper.id()) + "/status");
  EXPECT_NE(status.find("SigIgn:\t0000000000000001\n"), std::string::npos) << status;
  ::kill(wrapper.id(), SIGINT);
  EXPECT_EQ(wrapper.wait(), (Outcome{7, "ready\nstop\n"}));
  Child withTerminal = startWrapper({});
  ASSERT_TRUE(withTerminal.prints("ready\n"));
  ::kill(withTerminal.id(), SIGHUP);
  EXPECT_EQ(withTerminal.wait(), (Outcome{7, "ready\nstop\n"}));
}

/// Waits until it is the launcher that the process runs.
void awaitLauncher(pid_t process) {
  const std::filesystem::path image = "/proc/" + std::to_string(process) + "/exe";
  std::error_code error;
  while (!std::filesystem::equivalent(image, VELOX_WRAPPER, error) && !error) ::usleep(1000);
}

TEST_F(StopSignals, WithoutAJvmEndTheLauncher) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1}) {
    SCOPED_TRACE(signal);
    lifecycle(key_);
    Child waiting = startWrapper({"--delayStart", "60000"});
    awaitLauncher(waiting.id());
    ::kill(waiting.id(), signal);
    EXPECT_EQ(waiting.wait(), (Outcome{128 + signal, ""}));
    kvf(native_);
    Child native = startWrapper({});
    ASSERT_TRUE(native.prints("ready\n"));
    ::kill(native.id(), signal);
    EXPECT_EQ(native.wait(), (Outcome{128 + signal, "ready\n"}));
  }
}

TEST_F(StopSignals, WithABadNameAreFatal) {
  kvf(native_ + "application.stop.signals=TERM,KILL\n");
  EXPECT_EQ(wrapper({}),
            (Outcome{255,
                     "application.stop.signals : KILL is none of TERM, INT, HUP, QUIT, USR1, "
                     "USR2\n"}));
  lifecycle("application.stop.signals=USR2\n");
  EXPECT_EQ(
      startJava("wait").wait(),
      (Outcome{255, "application.stop.signals : USR2 is none of TERM, INT, HUP, QUIT, USR1\n"}));
}

}  // namespace
