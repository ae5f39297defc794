#include "launcher/LegacyScript.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

class LegacyScript : public testing::Test {
 protected:
  /// The script for a properties file of these lines.
  std::string generated(const std::string& lines) {
    generateScript(props({{"wrapper.scriptArgument", sandbox_.write("old.kvf", lines)},
                          {"java.start.class", "Main"},
                          {"application.args", "x y"},
                          {"velox.class.path.extended", "lib/a.jar:classes/::ext"},
                          {"java.extended.properties", "-server"}}));
    return sandbox_.read("old.sh");
  }

  Sandbox sandbox_;
};

TEST_F(LegacyScript, HasAllPieces) {
  ::setenv("ZQ_HOME", "/zq", 1);
  EXPECT_EQ(
      generated("# comment\n\njava.start.class=ignored\napplication.args=\n"
                "velox.class.path.extended=\njava.extended.properties=\nvelox.env.PATH=/my/bin\n"
                "java.library=/j/jre/lib/amd64/server/libjvm.so\n"
                "java.library.path=/opt/n\nvelox.env.B 2\nflag\nkey=value\n"
                "velox.env.LD_LIBRARY_PATH=/my/lib\njava.property.x=1\njava.property.y z=1\n"
                "velox.env.A=%ZQ_HOME%\n"),
      "export B=2\nexport LD_LIBRARY_PATH=/my/lib\nLIBPATH=/zq/lib:/my/lib\nexport LIBPATH\n"
      "export A=/zq\nexport A=/zq\nPATH=/j/jre/bin:/my/bin\n\nexport PATH\n"
      "java -cp :lib/a.jar:classes/*:ext/* "
      "-Djava.library=\"/j/jre/lib/amd64/server/libjvm.so\" -Djava.library.path=\"/opt/n\" "
      "-Dflag=\"\" -Dkey=\"value\" -Dx=\"1\"  "
      "-Dy=\"z=1\"  -server Main x y $*\n");
}

TEST_F(LegacyScript, OfAnEmptyFileHasPathAndCommand) {
  EXPECT_EQ(generated(""), "PATH=/bin:\nexport PATH\njava -cp     $*\n");
}

TEST_F(LegacyScript, TakesALineWithoutItsEnd) {
  EXPECT_EQ(generated("velox.env"), "export \nPATH=/bin:\nexport PATH\njava -cp     $*\n");
}

TEST_F(LegacyScript, CutsLinesThatAreTooLong) {
  EXPECT_EQ(generated("a=" + std::string(2000, 'b')), "PATH=/bin:\nexport PATH\njava -cp  -Da=\"" +
                                                          std::string(1997, 'b') +
                                                          "\" -Dbbb=\"\"    $*\n");
}

TEST_F(LegacyScript, IsNotWrittenWithoutAFile) {
  generateScript(props({{"wrapper.scriptArgument", sandbox_.path("none.kvf")}}));
  EXPECT_FALSE(std::filesystem::exists(sandbox_.path("none.sh")));
}

}  // namespace
