#include "javarun/JavaParameterParser.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Values.h"

namespace {

using javaparser::getAllJavaRunOption;
using javaparser::JavaParameterParser;

class JavaRunOptions : public testing::Test {
 protected:
  const std::string pid_ = "-Dapplication.processid=" + std::to_string(::getpid());

  /// The class path option, of which there is one.
  static WString classPath(const Entries& properties) {
    const SimpleProperties set = props(properties);
    return getAllJavaRunOption(JavaParameterParser(set)).front();
  }
};

TEST_F(JavaRunOptions, ComeInTheirFixedOrder) {
  const SimpleProperties properties = props({{"java.property.p", "v w"},
                                             {"java.extended.properties", "-server"},
                                             {"java.class.path", "c/"},
                                             {"java.library", "l"},
                                             {"java.library.path", "p"},
                                             {"java.heap.size.max", ""},
                                             {"java.heap.size.min", "6"},
                                             {"java.heap.size.initial", "3"},
                                             {"java.thread.stack.size", "4"},
                                             {"wrapper.kvf.file", "k"}});
  EXPECT_EQ(getAllJavaRunOption(JavaParameterParser(properties)),
            (Texts{"-Dp=v w", "-server", "-Djava.class.path=c/", "-Djava.library=l",
                   "-Djava.library.path=p", "-Xmx", "-Xmn6", "-Xms3", "-Xss4", pid_,
                   "-Dwrapper.kvf.file=k"}));
}

TEST_F(JavaRunOptions, MayLeaveOutTheUsersOwnOrNameAService) {
  const SimpleProperties properties =
      props({{"java.property.p", "v"}, {"java.extended.properties", "-server"}});
  EXPECT_EQ(getAllJavaRunOption(JavaParameterParser(properties), {false, "bin"}),
            (Texts{"-Djava.class.path=.", pid_, "-Dwrapper.binary.path=bin"}));
}

TEST_F(JavaRunOptions, TakeTheClassPathFromTheFirstPlaceThatHasOne) {
  EXPECT_EQ(classPath({}), "-Djava.class.path=.");
  ::setenv("CLASSPATH", "env", 1);
  EXPECT_EQ(classPath({}), "-Djava.class.path=env");
  EXPECT_EQ(classPath({{"java.class.path", ""}}), "-Djava.class.path=");
  EXPECT_EQ(classPath({{"java.class.path", "x"}, {"velox.class.path.extended", "a.jar"}}),
            "-Djava.class.path=a.jar:");
  ::setenv("CLASSPATH", "", 1);
  EXPECT_EQ(classPath({}), "-Djava.class.path=");
}

}  // namespace
