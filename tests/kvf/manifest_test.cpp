#include "kvf/formats/Manifest.h"

#include <gtest/gtest.h>

#include "kvf/cds/ClassDataArchive.h"
#include "kvf/package/ApplicationTexts.h"

namespace {

TEST(Manifest, MainAttributes) {
  struct Case {
    const char* text;
    const char* value;
  };
  const Case cases[] = {
      {"Main-Class: acme.Main\n", "acme.Main"},
      {"main-class:acme.Main \r\nX: y\r\n", "acme.Main"},
      {"Main-Class: acm\n e.Ma\n in", "acme.Main"},
      {"Main-Class: acm\r\n e.Main\rX: y", "acme.Main"},
      {"no attribute\nMain-Class: acme.Main", "acme.Main"},
      {"Name: x\n\nMain-Class: acme.Main\n", ""},
      {"Main-Class:  \n", ""},
      {"", ""},
  };
  for (const Case& row : cases)
    EXPECT_EQ(attributeOf(parseManifest(row.text), "Main-Class"), row.value) << row.text;
}

TEST(ClassDataArchive, Headers) {
  const std::string dynamic("\xa8\xab\x0b\xf0\1\2\3\0", 8);
  const std::string identity = "OpenJDK 64-Bit Server VM (17.0.15+6) for linux";
  EXPECT_FALSE(parseClassDataArchive(""));
  EXPECT_FALSE(parseClassDataArchive("PK\3\4 Server VM (17"));
  EXPECT_TRUE(parseClassDataArchive(dynamic)->dynamic);
  EXPECT_EQ(parseClassDataArchive(dynamic)->jvmIdentity, "");
  EXPECT_EQ(parseClassDataArchive(dynamic + identity + '\0' + "x")->jvmIdentity, identity);
  EXPECT_FALSE(parseClassDataArchive("\xa2\xab\x0b\xf0")->dynamic);
  // What comes after the header is not the JVM's identity.
  EXPECT_EQ(parseClassDataArchive(dynamic + std::string(4096, '\0') + identity)->jvmIdentity, "");
}

TEST(ApplicationTexts, AJvmOfTheMachineStaysWhereItIsAndAShippedOneMoves) {
  ApplicationFolder folder;
  folder.name = "a-b";
  folder.release = 17;
  folder.jvmLibrary = "/opt/50% j/libjvm.so";
  EXPECT_NE(propertiesFile(folder).find("`kvf jvm --line 17`"), std::string::npos);
  EXPECT_NE(propertiesFile(folder).find("\njava.library=/opt/50\\\\% j/libjvm.so\n"),
            std::string::npos);
  folder.jvmLibrary = "runtime/libjvm.so";
  EXPECT_NE(propertiesFile(folder).find("\njava.library=%kvf.file.dir%/runtime/libjvm.so\n"),
            std::string::npos);
  EXPECT_NE(propertiesFile(folder).find("\nA_B_ARGS=\napplication.args=%A_B_ARGS%\n"),
            std::string::npos);
}

}  // namespace
