#include "javarun/JavaCmdLineRunUtil.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

WString javaCommand(const char* javaPath) {
  const SimpleProperties properties = props({{"java.path", javaPath}});
  return getJavaCmd(javaparser::JavaParameterParser(properties), false);
}

TEST(JavaCommand, IsConfiguredOrInJavaHomeOrOnThePath) {
  EXPECT_EQ(javaCommand(""), "java");
  ::setenv("JAVA_HOME", "/opt/jdk/", 1);
  EXPECT_EQ(javaCommand(""), "/opt/jdk//bin/java");
  EXPECT_EQ(javaCommand("/my/java"), "/my/java");
}

TEST(ScriptText, QuotesWordsWithASpaceAndEscapesNothing) {
  EXPECT_EQ(getFullStringFromVector({"a", "b c", "d\te", R"(f"g)", ""}), "a \"b c\" d\te f\"g  ");
  EXPECT_EQ(getFullStringFromVector({}), "");
}

TEST(Script, HasANameWithoutAPropertiesFile) {
  const Sandbox sandbox;
  const auto generate = [] {
    const SimpleProperties properties = props({{"java.start.class", "M"}});
    javarunner::generateJavaCmdRunScript(javaparser::JavaParameterParser(properties));
  };
  EXPECT_EQ(sandbox.call(generate).status, 0);
  EXPECT_TRUE(std::filesystem::exists(sandbox.path("default_run.script.sh")));
}

TEST(ScriptText, ExportsTheTextBeforeTheLastEqualsSign) {
  EXPECT_EQ(getAllVeloxEnvFromVector({"A=1", "B=c=d"}), "A=1\nexport A\nB=c=d\nexport B=c\n");
}

}  // namespace
