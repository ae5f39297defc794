#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

/// Sound files as users have them: a finding would waste their time. What each is for stands in its
/// first line; what only Java 9 and newer have is in files of that name.
class SoundFiles : public testing::Test {
 public:
  SoundFiles() {
    fs::copy(VELOX_SOUND_FILES, sandbox_.path(), fs::copy_options::recursive);
    for (const char* folder : {"lib", "conf", "more/x"}) {
      fs::create_directories(sandbox_.path(folder));
    }
    for (const char* archive :
         {"lib/acme.jar", "more/x/acme-1.0.jar", "more/x/acme-1.0-linux.jar"}) {
      fs::copy_file(VELOX_ACME_JAR, sandbox_.path(archive));
    }
    fs::copy_file(VELOX_NATIVE_DIRECTORY "/libentry3.so", sandbox_.path("libacme.so"));
    fs::permissions(fs::path(sandbox_.path()).parent_path(), fs::perms(0755));
  }

 protected:
  [[nodiscard]] Outcome run(const Texts& arguments) const {
    return sandbox_.run(arguments, {.environment = {{"DB_PASSWORD", "Tr0ub4dor"},
                                                    {"HEAP", "128m"},
                                                    {"HOME", "/home/acme"},
                                                    {"JAVA_HOME", modernJavaHome(sandbox_.path())},
                                                    {"PROFILE", "production"},
                                                    {"USER", "acme"}}});
  }
  Sandbox sandbox_;
};

TEST_F(SoundFiles, HaveNoFinding) {
  std::size_t count = 0;
  for (const auto& entry : fs::directory_iterator(sandbox_.path())) {
    const fs::path& file = entry.path();
    if (file.extension() != ".kvf") continue;
    if (file.filename().string().starts_with("java9-") && javaRelease() < 9) continue;
    ++count;
    EXPECT_EQ(run({VELOX_KVF, "check", file.string()}), (Outcome{0, ""}));
  }
  EXPECT_GE(count, 40);
}

TEST_F(SoundFiles, OfSeveralOneUsesWhatAnotherHas) {
  const Outcome alone = run({VELOX_KVF, "check", "parts/ports.kvf"});
  EXPECT_TRUE(alone.has("\"orders.port\"")) << alone.out;
  const Outcome together =
      run({VELOX_KVF, "check", "parts/ports.kvf", "orders.kvf", "billing.kvf"});
  EXPECT_FALSE(together.has(".port\"")) << together.out;
}

}  // namespace
