#ifndef VELOX_KVF_JVM_JAVAPROGRAMOPTIONS_H
#define VELOX_KVF_JVM_JAVAPROGRAMOPTIONS_H

#include <cstddef>
#include <string_view>

/// Options of the program java, as words.

/// One that java does not pass on as it is.
struct JavaProgramOption {
  /// What it does with it.
  enum class Use {
    mode,       ///< -jar
    module,     ///< its value, or the next word, ends the options
    classPath,  ///< its value, or the next word
    joined,     ///< a JVM gets the next word after "="
    replaced,   ///< by `with`
    otherJvm,   ///< the folder of another JVM is its name
    nothing,    ///< it ignores it
    itself,     ///< what nothing else does; `with` says why
    source,     ///< it compiles a source file
    ends,       ///< it prints something and ends
  };
  std::string_view name;
  Use use;
  bool takesNextWord = false;  ///< when it has no value of its own
  bool isOwn = false;          ///< a JVM does not know it, so that without java something is lost
  std::string_view with = {};
};

/// The option that the word is, with or without a value; null: java passes it on.
const JavaProgramOption* javaProgramOption(std::string_view word);

/// The sign in front of the value: of "--name=value", and a colon for two; npos: it has none.
std::size_t signOfValue(std::string_view word);

/// True for one that takes the next word for its value, and has none behind "=".
bool takesNextWord(std::string_view word);

/// True for one that the program takes for itself: a JVM does not know it.
bool isOfJavaProgram(std::string_view word);

/// The length of an old name of a size, as in "-mx64m", which java passes on with an "X" in it; 0:
/// the word begins with none.
std::size_t lengthOfOldSizeName(std::string_view word);

#endif
