#ifndef VELOX_KVF_JVM_JAVAPROGRAMOPTIONS_H
#define VELOX_KVF_JVM_JAVAPROGRAMOPTIONS_H

#include <string_view>

/// Options of the program java, as words.

/// True for one that takes the next word for its value, when it has none behind "=".
bool takesNextWord(std::string_view option);

/// True for one that the program takes for itself: a JVM does not know it.
bool isOfJavaProgram(std::string_view option);

#endif
