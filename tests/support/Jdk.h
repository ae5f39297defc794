#ifndef VELOX_TESTS_SUPPORT_JDK_H
#define VELOX_TESTS_SUPPORT_JDK_H

#include <string>

/// The JDK that the tests use: the one that JAVA_HOME names at the program's start, else the one
/// that the build found. One build is tried with many JDKs that way.

/// Its folder.
const std::string& javaHome();
/// The path of its libjvm.so.
const std::string& jvmLibrary();
/// The path of its program java.
const std::string& javaProgram();
/// 17, 8.
unsigned javaRelease();
/// The JDK's folder with lib/server/libjvm.so in it; for Java 8, whose folders are others, one that
/// is made in this folder.
std::string modernJavaHome(const std::string& folder);

#endif
