# The JDK: jni.h for the launcher, and for tests and examples a compiler and a JVM.

find_package(Java REQUIRED COMPONENTS Development)
if(NOT JAVA_HOME AND "$ENV{JAVA_HOME}" STREQUAL "")
  # javac on the PATH is a link into the JDK that also holds jni.h.
  file(REAL_PATH ${Java_JAVAC_EXECUTABLE} javac)
  cmake_path(GET javac PARENT_PATH JAVA_HOME)
  cmake_path(GET JAVA_HOME PARENT_PATH JAVA_HOME)
endif()
find_package(JNI REQUIRED COMPONENTS JVM)
