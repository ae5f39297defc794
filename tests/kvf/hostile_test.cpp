#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "kvf/ZipFile.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace {

// Big inputs, and such as were made to take long: what is read grows, and the time with it, but not
// with its square.

std::string times(std::size_t count, const std::function<std::string(std::size_t)>& text) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text(i);
  return all;
}

std::string times(std::size_t count, const std::string& text) {
  return times(count, [&](std::size_t) { return text; });
}

class Hostile : public testing::Test {
 protected:
  static constexpr rlim_t seconds = 20;

  /// A run that takes too much of a processor ends by a signal.
  [[nodiscard]] Outcome kvf(Texts arguments) const {
    arguments.insert(arguments.begin(), VELOX_KVF);
    return sandbox_.run(arguments, {.inChild = [] {
                          const rlimit limit = {seconds, seconds};
                          ::setrlimit(RLIMIT_CPU, &limit);
                        }});
  }
  static std::string sound() {
    return "java.library=" + jvmLibrary() +
           "\nvelox.class.path.extended=" VELOX_PROBE_JAR "\njava.start.class=probe.Probe\n";
  }

  Sandbox sandbox_;
};

TEST_F(Hostile, PropertiesFilesAreCheckedInNoTime) {
  const auto numbered = [](const char* before, const char* after) {
    return [=](std::size_t i) { return before + std::to_string(i) + after; };
  };
  const struct {
    const char* what;
    std::string lines;
    int status;
    std::string told;  ///< in the output
  } rows[] = {
      {"entries", times(30000, numbered("java.property.p", "=v\n")), 0, ""},
      {"names like others", times(5000, numbered("java.heap.size.mx", "=1\n")), 1,
       "app.kvf:5003:1: warning: "},
      {"long names", times(200, numbered(("java." + std::string(2000, 'm')).c_str(), "=1\n")), 1,
       "[unknown-key]"},
      {"lines without a key", times(20000, "word\n"), 1, "app.kvf:20003:1: error: "},
      {"one key", times(50000, "java.property.a=1\n"), 1, "[duplicate-key]"},
      {"references", "a=b\n" + times(2000, "java.property.a=" + times(99, "%a%") + "\n"), 1,
       "[duplicate-key]"},
      {"percent signs", "java.property.a=" + std::string(999999, '%') + "\n", 1, "app.kvf:4:"},
      {"open references", "java.property.a=" + times(200000, "%x ") + "\n", 1, "app.kvf:4:"},
      {"backslashes", "java.property.a=" + std::string(1000000, '\\') + "\n", 0, ""},
      {"continued lines", "java.property.a=" + times(100000, "x\\\n") + "\n", 0, ""},
      {"arguments", "application.args=" + times(50000, "\"a b\" c ") + "d\n", 0, ""},
      {"words of a shell", "application.args=a " + times(10000, "2>&1 ") + "\n", 1,
       "[shell-syntax]"},
      {"options", "java.extended.properties=" + times(3000, "-Xmx1g -Da=b ") + "-Xrs\n", 0, ""},
      {"missing elements",
       "velox.class.path.extended=" VELOX_PROBE_JAR + times(20000, numbered(":/gone/", "")) + "\n",
       1, "[class-path-missing]"},
      {"NUL bytes", std::string(1000000, '\0'), 1, "[nul-byte]"},
      {"blanks", "java.property.a=b" + std::string(1000000, ' ') + "\n", 1, "[trailing-blank]"},
      {"carriage returns", times(50000, "java.property.a=b\r"), 1, "app.kvf:4:"},
      {"tags of a log",
       "java.extended.properties=-Xlog:" + times(20000, "gc+heap*=debug,") + "gc\n",
       javaRelease() < 9 ? 1 : 0, ""},
      {"includes", times(1000, "velox.include.kvf=/gone\n"), 1, "[missing-include]"},
      {"allowed rules", "# kvf: allow " + times(20000, "unknown-key, ") + "\nacme=1\n", 0, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    sandbox_.write("app.kvf", sound() + row.lines);
    const Outcome outcome = kvf({"check", "--format", "gcc", "app.kvf"});
    EXPECT_EQ(outcome.status, row.status) << outcome.out.substr(0, 2000);
    EXPECT_NE(outcome.out.find(row.told), std::string::npos) << outcome.out.substr(0, 2000);
  }
}

TEST_F(Hostile, UnitsAreReadInNoTime) {
  const std::string launch =
      "ExecStart=" VELOX_WRAPPER " --propFile " + sandbox_.write("app.kvf", sound()) + " ";
  const std::string head = "[Service]\nSuccessExitStatus=143\n";
  const auto numbered = [](const char* before, const char* after) {
    return [=](std::size_t i) { return before + std::to_string(i) + after; };
  };
  const struct {
    const char* what;
    std::string text;
    int status;
    std::string told;
  } rows[] = {
      {"variables", head + times(5000, numbered("Environment=A", "=b\n")) + launch + "\n", 0, ""},
      {"words", head + launch + times(20000, "\"x y\" ") + "\n", 0, ""},
      {"a long word", head + launch + std::string(std::size_t{4} << 20U, 'x') + "\n", 0, ""},
      {"continued lines", head + launch + times(100000, "\\\n ") + "\n", 0, ""},
      {"comments in a command", head + launch + times(50000, "\\\n# x\n") + "\n", 0, ""},
      {"sections", times(20000, numbered("[S", "]\nA=b\n")) + head + launch + "\n", 1,
       "[unit-syntax]"},
      {"unknown keys", head + times(2000, numbered("Enviroment", "=b\n")) + launch + "\n", 1,
       "[unit-syntax]"},
      {"system calls", head + launch + "\nSystemCallFilter=" + times(50000, "@a ") + "\n", 1,
       "[unit-hardening]"},
      {"an open quote", head + launch + std::string(100001, '"') + "\n", 1,
       "a quote is not closed"},
      {"specifiers", head + launch + times(50000, "%n%%") + "\n", 0, ""},
      {"NUL bytes", head + std::string(100000, '\0') + "\n" + launch + "\n", 1, "[unit-syntax]"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Outcome outcome = kvf({"check", sandbox_.write("acme.service", row.text)});
    EXPECT_EQ(outcome.status, row.status) << outcome.out.substr(0, 2000);
    EXPECT_NE(outcome.out.find(row.told), std::string::npos) << outcome.out.substr(0, 2000);
  }
}

TEST_F(Hostile, ArchivesAndArgumentFilesAreReadInNoTime) {
  std::map<std::string, std::string> entries = {
      {"META-INF/MANIFEST.MF", "Main-Class: p.C\nClass-Path:" + times(20000, " l/x.jar") + "\n"}};
  for (int i = 0; i < 20000; ++i) entries["p/C" + std::to_string(i) + ".class"] = "";
  writeArchive(sandbox_, "big.jar", entries);
  sandbox_.write("app.kvf", "java.library=" + jvmLibrary() +
                                "\nvelox.class.path.extended=%kvf.file.dir%/big.jar\n"
                                "java.start.class=p.C\n");
  EXPECT_TRUE(kvf({"check", "app.kvf"}).has("(did you mean p.C0?)"));
  writeArchive(sandbox_, "bomb.jar",
               {{"META-INF/MANIFEST.MF", "A: " + std::string(std::size_t{200} << 20U, 'b')}});
  EXPECT_EQ(kvf({"new", "made", "--jar", "bomb.jar"}).status, 2);
  if (javaRelease() < 9) return;
  sandbox_.write("words", times(100000, "\"-Da=b c\" ") + "-cp " VELOX_PROBE_JAR " probe.Probe " +
                              times(50000, "x "));
  const Outcome imported = kvf({"import", "--", javaProgram(), "@words"});
  EXPECT_TRUE(imported.status == 0 &&
              imported.out.find("\njava.property.a=b c\n") != std::string::npos)
      << imported.out.substr(0, 2000);
}

}  // namespace
