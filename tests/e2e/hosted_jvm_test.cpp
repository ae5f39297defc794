#include <cstdio>
#include <thread>

#include <gtest/gtest.h>

#include "hosting/JavaProcess.h"
#include "hosting/ServiceWrapper.h"
#include "logging/Logging.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace {

/// The parts of a hosted JVM that the launcher itself does not use, in a process with a JVM inside.
class HostedJvm : public testing::Test {
 protected:
  Outcome hosted(const std::function<void(JavaProcess&)>& action) const {
    return sandbox_.call([&] {
      JavaProcess process(props(properties_), false);
      action(process);
      std::fflush(stdout);
      std::exit(process.AppMain());
    });
  }

  Sandbox sandbox_;
  Entries properties_ = {{"java.library", jvmLibrary()},
                         {"java.class.path", VELOX_PROBE_JAR},
                         {"java.start.class", "probe.Probe"},
                         {"java.start.method", "waiting"},
                         {"java.stop.method", "halt"}};
};

TEST_F(HostedJvm, AppStopCallsTheStopMethodFromAnotherThread) {
  const auto stop = [](JavaProcess& process) {
    Logging::EnableDebug();
    std::thread([&] { process.AppStop(); }).join();
  };
  EXPECT_EQ(hosted(stop),
            (Outcome{0,
                     "AppStop() - Found the static stop method on the start class\nhalted\n"
                     "AppStop() - Just returned from stop method\n"
                     "WRAPPER - About to call the start method on the start class\nreturning\n"
                     "WRAPPER - Just returned from start method\n"}));
  properties_.emplace_back("java.stop.method", "missing");
  const auto stopOnly = [&stop](JavaProcess& process) {
    stop(process);
    std::exit(0);
  };
  EXPECT_TRUE(hosted(stopOnly).has(
      "AppStop() - Unable to find the static stop method on the start class\n"));
}

TEST_F(HostedJvm, HasThePiecesOfTheOptionList) {
  properties_.emplace_back("java.extended.properties", "-Da=1 -Db=2");
  const auto show = [](JavaProcess& process) {
    std::vector<WString> options = {process.ExpandClassPath("x.jar;y.jar/")};
    const bool answers[] = {process.SetClassPathOption(options),
                            process.SetOption(options, "-Dlib=", "java.library"),
                            process.SetOption(options, "-Xmx", "java.heap.size.max"),
                            process.GetJVMVendorName().empty()};
    process.SetExtendedJavaOptions(options);
    for (const WString& option : options) std::puts(option.c_str());
    for (const bool yes : answers) std::puts(yes ? "yes" : "no");
    std::exit(0);
  };
  EXPECT_EQ(hosted(show),
            (Outcome{0, "x.jar:y.jar:\n-Djava.class.path=" VELOX_PROBE_JAR "\n-Dlib=" +
                            jvmLibrary() + "\n-Da=1\n-Db=2\nyes\nyes\nno\nno\n"}));
}

}  // namespace
