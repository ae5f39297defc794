#ifndef VELOX_TESTS_E2E_LIFECYCLETEST_H
#define VELOX_TESTS_E2E_LIFECYCLETEST_H

#include <fstream>
#include <stdexcept>
#include <string>

#include "e2e/WrapperTest.h"

/// Runs the Java fixture Lifecycle.
class LifecycleTest : public WrapperTest {
 protected:
  /// The properties file, with further lines.
  void lifecycle(const std::string& lines = {}) {
    kvf("java.library=" + jvmLibrary() +
        "\njava.class.path=" VELOX_LIFECYCLE_JAR
        "\njava.start.class=lifecycle.Lifecycle\nprocessID.file.name=pid\n" +
        lines);
  }
  [[nodiscard]] Child startJava(const std::string& mode) const {
    return startWrapper({"--run", mode}, {.environment = {jvmInside}});
  }

  /// A command line that runs another one as the first process of its own, and whether it can.
  static Texts asFirstProcess(const Texts& line) {
    Texts words = {"unshare", "--pid", "--fork"};
    // Without root's rights it takes a user namespace, which a chroot does not allow.
    if (::geteuid() != 0) words.insert(words.end(), {"--user", "--map-root-user"});
    words.insert(words.end(), line.begin(), line.end());
    return words;
  }
  [[nodiscard]] bool hasProcessNamespaces() const {
    return sandbox_.run(asFirstProcess({"true"})).status == 0;
  }
  static pid_t childOf(pid_t parent) {
    const std::string id = std::to_string(parent);
    pid_t child = 0;
    // Never a number that stands for many processes: the tests send it signals.
    if (!(std::ifstream("/proc/" + id + "/task/" + id + "/children") >> child)) {
      throw std::runtime_error("no child of " + id);
    }
    return child;
  }
};

#endif
