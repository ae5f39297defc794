#include <algorithm>
#include <random>

#include "e2e/WrapperTest.h"

namespace {

/// Draws what a script can carry, by the documented limits.
class Draw {
 public:
  explicit Draw(unsigned int seed) : engine_(seed) {}

  unsigned int below(unsigned int bound) { return static_cast<unsigned int>(engine_()) % bound; }

  /// A word that is not empty. Only between spaces, which bring double quotes, may there be
  /// characters that mean something to a shell.
  std::string word(bool mayHaveSpaces = true) {
    const bool spaces = mayHaveSpaces && below(2) == 0;
    std::string word = text(spaces ? plain + special : plain, 1 + below(12));
    if (spaces) word.insert(below(static_cast<unsigned int>(word.size()) + 1), 1, ' ');
    return word;
  }

  std::string plainText(unsigned int maxLength) { return text(plain, below(maxLength)); }

 private:
  std::string text(const std::string& characters, unsigned int length) {
    std::string text;
    while (text.size() < length) {
      text += characters[below(static_cast<unsigned int>(characters.size()))];
    }
    return text;
  }

  const std::string plain = "abcxyzABCXYZ0189-_.,:/@+^]!=";
  const std::string special = "';&|<>(){}*?[#~\t\n ";
  std::mt19937 engine_;
};

/// A value as a properties file has it: only letters and digits go without a backslash.
std::string escaped(const std::string& value) {
  std::string text;
  for (const char c : value) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) text += '\\';
    text += c == '\n' ? 'n' : c == '\t' ? 't' : c;
  }
  return text;
}

/// What a script is to run, and what was printed by running one: texts that end in NUL.
struct Script {
  Texts properties;  ///< sorted
  Texts arguments;
  Texts variables;
};

class RandomScript : public WrapperTest {
 protected:
  /// Writes a properties file and returns what its script is to run.
  Script write(Draw draw) {
    Script script;
    const std::string name = draw.below(2) == 0 ? "java" : "a java";
    sandbox_.write(name, "#!/bin/sh\nprintf '%s\\0' \"$@\" -- \"$E0\" \"$E1\" \"$E2\"\n", true);
    std::string kvf = "java.path=" + escaped(sandbox_.path(name)) + "\njava.start.class=Main\n";
    for (unsigned int i = 0, count = draw.below(4); i < count; ++i) {
      const std::string value = draw.word();
      kvf += "java.property.p" + std::to_string(i) + "==" + escaped(value) + "\n";
      script.properties.push_back("-Dp" + std::to_string(i) + "=" + value);
    }
    kvf += "application.args=";
    for (unsigned int i = draw.below(4); i > 0; --i) {
      const std::string argument = draw.word();
      const bool quoted = argument.find(' ') != std::string::npos;
      kvf += escaped(quoted ? " \"" + argument + "\"" : " " + argument);
      script.arguments.push_back(argument);
    }
    kvf += "\n";
    for (const char* variable : {"E0", "E1", "E2"}) {
      std::string value = draw.plainText(12);
      std::erase(value, '=');
      kvf += std::string("velox.env.") + variable + "=" + escaped(value) + "\n";
      script.variables.push_back(value);
    }
    sandbox_.write("app.kvf", kvf);
    return script;
  }

  static Script scriptOf(const std::string& printed) {
    Script script;
    Texts* part = &script.properties;
    for (std::size_t at = 0; at < printed.size();) {
      const std::string text = printed.c_str() + at;
      at += text.size() + 1;
      const bool next = (part == &script.properties && text == "Main") ||
                        (part == &script.arguments && text == "--");
      if (next) {
        part = part == &script.properties ? &script.arguments : &script.variables;
      } else if (part != &script.properties || text.starts_with("-Dp")) {
        part->push_back(text);
      }
    }
    std::sort(script.properties.begin(), script.properties.end());
    return script;
  }
};

TEST_F(RandomScript, GivesTheWordsAndVariablesToJavaWhateverTheShell) {
  for (unsigned int seed = 1; seed <= 60; ++seed) {
    const Script script = write(Draw(seed));
    SCOPED_TRACE(sandbox_.read("app.kvf"));
    ASSERT_EQ(wrapper({"--generateScript"}).status, 0);
    for (const char* shell : {"dash", "bash"}) {
      EXPECT_EQ(sandbox_.run({shell, "-n", "app.script.sh"}), (Outcome{0, ""}));
      const Script seen = scriptOf(sandbox_.run({shell, "app.script.sh"}).out);
      EXPECT_EQ(seen.properties, script.properties);
      EXPECT_EQ(seen.arguments, script.arguments);
      EXPECT_EQ(seen.variables, script.variables);
    }
  }
}

}  // namespace
