#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "config/Configuration.h"
#include "config/PropertiesFile.h"
#include "hosting/ServiceWrapper.h"
#include "javarun/ClassPath.h"
#include "support/Jdk.h"

namespace {

/// Every test finds the process as it was at the start, whatever ran before.
class FreshProcess : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*test*/) override {
    ::clearenv();
    ::setenv("PATH", "/usr/bin:/bin", 1);
    ::setenv("LC_ALL", "C.UTF-8", 1);
    ::umask(022);
    if (::chdir("/") != 0) std::abort();
    gProps = {};
    g_isJavaWrapper = false;
    CommonConfig::initConfig({});
    ServiceUtils::SetServiceBinaryPath("");
  }
};

}  // namespace

int main(int argc, char** argv) {
  // What runs in the background ignores some signals, and so would every child.
  for (int signal = 1; signal < SIGRTMIN; ++signal) ::signal(signal, SIG_DFL);
  jvmLibrary();  // while the environment still names the JDK
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new FreshProcess);
  return RUN_ALL_TESTS();
}
