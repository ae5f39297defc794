#ifndef VELOX_TESTS_E2E_WRAPPERTEST_H
#define VELOX_TESTS_E2E_WRAPPERTEST_H

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "support/Jdk.h"
#include "support/Sandbox.h"

/// Runs the built wrapper in a sandbox with the properties file app.kvf.
class WrapperTest : public testing::Test {
 protected:
  /// What a properties file says to run the Java fixture.
  static std::string probe() {
    return "java.library=" + jvmLibrary() +
           "\nvelox.class.path.extended=" VELOX_PROBE_JAR "\njava.start.class=probe.Probe\n";
  }
  /// The path of a native fixture: 0 has no entry point, 1 AppMain, 2 the others, 3 all.
  static std::string library(int entry) {
    return VELOX_NATIVE_DIRECTORY "/libentry" + std::to_string(entry) + ".so";
  }
  /// A `java` that prints its arguments, $PROBE and its directory, a line each.
  std::string fakeJava() {
    return "java.path=" +
           sandbox_.write("java",
                          "#!/bin/sh\nprintf '%s\\n' \"$@\" \"env[$PROBE]\" \"directory[$PWD]\"\n",
                          true) +
           "\njava.start.class=Main\n";
  }

  void kvf(const std::string& text) { sandbox_.write("app.kvf", text); }

  /// Runs the wrapper with --propFile app.kvf and the arguments. Without root's rights it is a copy
  /// in the sandbox, as the build may lie where only its owner may go.
  [[nodiscard]] Outcome wrapper(const Texts& arguments, const Start& start = {}) const {
    return startWrapper(arguments, start).wait();
  }
  [[nodiscard]] Child startWrapper(const Texts& arguments, const Start& start = {}) const {
    Texts line = {VELOX_WRAPPER, "--propFile", "app.kvf"};
    if (start.asNobody) {
      line[0] = sandbox_.path("wrapper");
      std::filesystem::copy_file(VELOX_WRAPPER, line[0],
                                 std::filesystem::copy_options::skip_existing);
    }
    line.insert(line.end(), arguments.begin(), arguments.end());
    return sandbox_.start(line, start);
  }
  /// The same where a JVM may start: it handles SIGSEGV itself and keeps its memory to the end.
  [[nodiscard]] Outcome java(const Texts& arguments) const {
    return wrapper(arguments, {.environment = {jvmInside}});
  }

  /// The outcome with names in the place of paths and process IDs, to compare the whole of it.
  [[nodiscard]] Outcome plain(Outcome outcome) const {
    const std::pair<std::string, std::string> names[] = {{sandbox_.path(), "DIR"},
                                                         {VELOX_WRAPPER, "WRAPPER"},
                                                         {jvmLibrary(), "LIBJVM"},
                                                         {VELOX_PROBE_JAR, "PROBE_JAR"},
                                                         {VELOX_ADJUSTER_JAR, "ADJUSTER_JAR"},
                                                         {VELOX_NATIVE_DIRECTORY, "LIBS"}};
    for (const auto& [path, name] : names) {
      for (std::size_t at = 0; (at = outcome.out.find(path)) != std::string::npos;) {
        outcome.out.replace(at, path.size(), name);
      }
    }
    outcome.out = std::regex_replace(outcome.out, std::regex(R"((processid=|pid\[)\d+)"), "$1ID");
    return outcome;
  }

  Sandbox sandbox_;
};

#endif
