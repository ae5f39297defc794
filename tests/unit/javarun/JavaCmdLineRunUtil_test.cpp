#include "javarun/JavaCmdLineRunUtil.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace {

WString javaCommand(const char* javaPath, bool quoteIfSpace) {
  const SimpleProperties properties = props({{"java.path", javaPath}});
  return getJavaCmd(javaparser::JavaParameterParser(properties), quoteIfSpace);
}

TEST(JavaCommand, IsConfiguredOrInJavaHomeOrOnThePath) {
  EXPECT_EQ(javaCommand("", false), "java");
  ::setenv("JAVA_HOME", "/opt/jdk/", 1);
  EXPECT_EQ(javaCommand("", false), "/opt/jdk//bin/java");
  EXPECT_EQ(javaCommand("/my/java", false), "/my/java");
}

TEST(JavaCommand, IsQuotedOnlyForASpaceAndWhenWanted) {
  ::setenv("JAVA_HOME", "/opt/j d", 1);
  EXPECT_EQ(javaCommand("", false), "/opt/j d/bin/java");
  EXPECT_EQ(javaCommand("", true), "\"/opt/j d/bin/java\"");
  EXPECT_EQ(javaCommand("/my/java", true), "/my/java");
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
