# The JDK: jni.h for the launcher, which links nothing of it; for tests and examples a compiler and a
# JVM, too.

if(VELOX_TESTS OR VELOX_EXAMPLES)
  find_package(Java REQUIRED COMPONENTS Development)
else()
  find_package(Java QUIET COMPONENTS Development)
endif()
if(NOT JAVA_HOME AND "$ENV{JAVA_HOME}" STREQUAL "" AND Java_JAVAC_EXECUTABLE)
  # javac on the PATH is a link into the JDK that also holds jni.h.
  file(REAL_PATH ${Java_JAVAC_EXECUTABLE} javac)
  cmake_path(GET javac PARENT_PATH JAVA_HOME)
  cmake_path(GET JAVA_HOME PARENT_PATH JAVA_HOME)
endif()
# Not required as a whole: that would be a JVM of the target and its libraries for windows, too.
find_package(JNI QUIET)
if(NOT JAVA_INCLUDE_PATH OR NOT JAVA_INCLUDE_PATH2)
  message(FATAL_ERROR "No jni.h and jni_md.h found; set JAVA_HOME to a JDK")
endif()
