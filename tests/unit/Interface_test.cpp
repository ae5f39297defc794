// The functions whose contract says "Interface only": nothing in the launcher calls them.
#include <cstdio>

#include <gtest/gtest.h>

#include "config/CommandLine.h"
#include "config/Configuration.h"
#include "foundation/WVersion.h"
#include "javarun/ClassPath.h"
#include "javarun/JavaParameterParser.h"
#include "launcher/ProcessEnvironment.h"
#include "launcher/wrap.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "support/Sandbox.h"

namespace {

TEST(Interface, OfTheFoundation) {
  const WException error("code", "role", "category", "text");
  EXPECT_TRUE(error == WException("code", "role", "category", "other", "f.cpp", 7));
  EXPECT_FALSE(error == WException("code", "", "category", "text"));
  EXPECT_TRUE(WException("", "", "", "text").isNull());
  EXPECT_FALSE(error.isNull());
  EXPECT_TRUE(error.isCode("code"));
  EXPECT_EQ(error.toWString(),
            "Code = code, Category = category, Severity = role, Description = text, "
            "File = Unknown file, line = 0");
  const WVersion version;
  EXPECT_EQ(version.getDescription(), "VELOX Wrapper, 2.4.6 V1 64bit");
  EXPECT_EQ(version.getVersion(), "2.4.6 V1");
  EXPECT_EQ(version.getMajorVersion(), 2);
  EXPECT_EQ(version.getMinorVersion(), 4);
  EXPECT_EQ(version.getPatchVersion(), 6);
  EXPECT_EQ(version.getLabel(), 1);
}

TEST(Interface, OfTheConfiguration) {
  Texts arguments = {"prog", "--kill", "Abort", "--cleanInstall"};
  EXPECT_EQ(ParseCommandLineOnly(4, pointersTo(arguments).data()),
            (Entries{{"commandline.argv.0", "prog"},
                     {"commandline.argv.1", "Abort"},
                     {"wrapper.command", "--cleanInstall"}}));
  UpdateProcessType(props({{"java.library.path", "x"}}));
  EXPECT_FALSE(g_isJavaWrapper);
  UpdateProcessType(props({{"java.library", ""}}));
  EXPECT_TRUE(g_isJavaWrapper);
  g_isJavaWrapper = false;
  Sandbox sandbox;
  Texts line = {"prog", "--version", "--propFile", sandbox.write("app.kvf", "java.library=x\n")};
  ParseCommandLine(4, pointersTo(line).data());
  EXPECT_TRUE(g_isJavaWrapper);
  EXPECT_EQ(DetermineWrapperState(props({{"wrapper.command", "--kill"}})), WrapperState::kill);
}

TEST(Interface, OfTheJavaSettings) {
  const SimpleProperties properties = props({{"java.library", "l"},
                                             {"java.library.path", "p"},
                                             {"java.heap.size.max", ""},
                                             {"java.heap.size.min", "6"},
                                             {"java.heap.size.initial", "3"},
                                             {"java.thread.stack.size", "4"},
                                             {"wrapper.kvf.file", "k"}});
  const javaparser::JavaParameterParser parser(properties);
  EXPECT_EQ(parser.getMaxHeapSizeOption(), "-Xmx");
  EXPECT_EQ(parser.getMinHeapSizeOption(), "-Xmn6");
  EXPECT_EQ(parser.getInitalHeapSizeOption(), "-Xms3");
  EXPECT_EQ(parser.getThreadStackSizeOption(), "-Xss4");
  EXPECT_EQ(parser.getNativeLibraryOption(), "-Djava.library=l");
  EXPECT_EQ(parser.getNativeLibraryPathOptions(), Texts{"-Djava.library.path=p"});
  EXPECT_EQ(parser.getKvfFileOption(), "-Dwrapper.kvf.file=k");
  EXPECT_EQ(parser.expandClassPath("a.jar;b/"), "a.jar:b:");
  EXPECT_EQ(parser.expandDirToClassPath("**"), "**");
  Sandbox sandbox;
  const std::string archive = sandbox.write("lib/a.jar", "");
  EXPECT_EQ(parser.expandDirToClassPath(sandbox.path("lib").c_str()),
            (sandbox.path("lib") + ":" + archive).c_str());
}

TEST(Interface, OfTheEnvironment) {
  EXPECT_EQ(RemoveEmptyPathSeparators(":a:::b;;", ':'), ":a:b;;");
  EXPECT_TRUE(isSpace("ab "));
  EXPECT_FALSE(isSpace("a\tb"));
  CallExecvp_IfNecessary(true, true, nullptr);
  CallExecvp_IfNecessary(false, false, nullptr);
}

TEST(Interface, OfTheLog) {
  EXPECT_EQ(inChild([] {
              Logging::EnableSilent();
              Logging::PrintLastErrorInMessageBox();
              Logging::CloseHandle();
              Logging::Info("seen");
            }),
            (Outcome{0, "seen\n"}));
}

TEST(Interface, OfThePlatform) {
  Sandbox sandbox;
  const std::string archive = sandbox.write("in/a.jar", "");
  char** list = new char* [3] {};
  list[0] = new char[1]{};
  const std::string root = sandbox.path();
  EXPECT_EQ(sii_CreateClassPathDirectoryListRecursive(root.c_str(), list, 1, 1, 2, 1), 1);
  EXPECT_EQ(sii_CreateClassPathDirectoryListRecursive(root.c_str(), list, 1, 1, 1, 2), 1);
  EXPECT_EQ(sii_CreateClassPathDirectoryListRecursive(root.c_str(), list, 1, 2, 2, 3), 2);
  EXPECT_EQ(list[1], archive);
  EXPECT_EQ(list[2], nullptr);
  sii_DestroyDirectoryList(list, 3);
  sii_CreateClassPathDirectoryList(sandbox.path("in").c_str(), list);
  EXPECT_STREQ(list[0], "a.jar");
  EXPECT_EQ(list[1], nullptr);
  sii_DestroyDirectoryList(list, 4096);
  list = nullptr;
  EXPECT_THROW(sii_CreateClassPathDirectoryListRecursive("/", list, 0, 1, 1, 1), WException);
}

}  // namespace
