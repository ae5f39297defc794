#include <csignal>
#include <filesystem>

#include <sys/resource.h>

#include "e2e/WrapperTest.h"
#include "launcher/LegacyScript.h"

namespace {

/// A file of the launcher's that cannot be written, or not whole.
class WriteErrors : public WrapperTest {
 protected:
  /// Runs the launcher where no file may grow past three bytes.
  [[nodiscard]] Outcome limited(const Texts& arguments) const {
    return wrapper(arguments, {.inChild = limitFiles});
  }
  static void limitFiles() {
    constexpr rlimit limit = {3, 3};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
};

TEST_F(WriteErrors, OfARunScriptOrTheLogDoNotEndTheLauncher) {
  kvf("java.start.class=M\n");
  std::error_code keptByOthers;
  std::filesystem::remove(sandbox_.logFile(), keptByOthers);
  EXPECT_EQ(limited({"--generateScript"}).status, 0);
  EXPECT_EQ(sandbox_.read("app.script.sh"), "#!/");
  EXPECT_EQ(limited({"--query", "--debug"}), wrapper({"--query", "--debug"}));
  EXPECT_EQ(limited({"--query", "--debug"}).status, 0);
  if (!keptByOthers) {
    EXPECT_EQ(std::filesystem::file_size(sandbox_.logFile()), 3);
  }
  // A device cannot be given the mode of a script, at least not by everyone.
  std::filesystem::remove(sandbox_.path("app.script.sh"));
  std::filesystem::create_symlink("/dev/full", sandbox_.path("app.script.sh"));
  const Outcome full = wrapper({"--generateScript"}, {.asNobody = true});
  EXPECT_TRUE(full.out.ends_with("/app.script.sh\nerror chmod error\n")) << full.out;
  EXPECT_EQ(full.status, 0);
}

TEST_F(WriteErrors, OfTheLegacyScriptDoNotEndTheLauncher) {
  kvf("java.start.class=M\n");
  const SimpleProperties properties =
      props({{"wrapper.scriptArgument", sandbox_.path("app.kvf")}, {"java.start.class", "M"}});
  const auto generate = [&] {
    limitFiles();
    generateScript(properties);
    std::raise(SIGXFSZ);  // not held back any more
  };
  EXPECT_EQ(inChild(generate), (Outcome{128 + SIGXFSZ, ""}));
  EXPECT_EQ(sandbox_.read("app.sh"), "PAT");
}

}  // namespace
