#ifndef VELOX_TESTS_SUPPORT_JDK_H
#define VELOX_TESTS_SUPPORT_JDK_H

#include <string>
#include <utility>

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

/// In the environment of a program with a JVM inside, which handles SIGSEGV itself and keeps its
/// memory to the end: what the program must know when it is built with a sanitizer.
constexpr std::pair<const char*, const char*> jvmInside = {"ASAN_OPTIONS",
                                                           "handle_segv=0:detect_leaks=0"};

#endif
