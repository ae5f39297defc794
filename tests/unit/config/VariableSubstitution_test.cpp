#include "config/VariableSubstitution.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Child.h"
#include "support/Values.h"

namespace {

class Variables : public testing::Test {
 protected:
  Variables() { ::setenv("OUTER", "environment", 1); }

  [[nodiscard]] WString replaced(WString value) const {
    ReplaceVariables(value, first_, second_, third_);
    return value;
  }
  static WString substituted(WString text, const Entries& properties) {
    substitute(text, props(properties));
    return text;
  }

  SimpleProperties first_ = props({{"wrapper.variable.HOME", "/x"}, {"plain", "no"}});
  SimpleProperties second_ = props({{"OUTER", "second"}, {"HOME", "second"}, {"b", "second"}});
  SimpleProperties third_ = props({{"b", "third"}, {"c", "third"}});
};

// Any value and any sets meet a model of the rules: fuzz/variables.cpp.
TEST_F(Variables, ComeFromTheFirstThatHasThem) {
  EXPECT_EQ(replaced("%HOME%-%OUTER%-%b%-%c%-%plain%"), "/x-environment-second-third-");
}

TEST_F(Variables, EndTheProcessWhenTheyAreMoreThanAHundred) {
  const auto references = [](int count) {
    WString value;
    for (int i = 0; i < count; ++i) value += "%u%";
    return value;
  };
  EXPECT_EQ(replaced(references(100)), "");
  EXPECT_EQ(inChild([&] { (void)replaced(references(101)); }),
            (Outcome{255,
                     "More than 100 variable references in the value that begins with : "
                     "%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%%u%\n"}));
}

TEST_F(Variables, AreShownByWholeCharactersOnOneLine) {
  const auto shown = [&](const std::string& beginning) {
    std::string value = beginning;
    for (int i = 0; i < 101; ++i) value += "%u%";
    const std::string out = inChild([&] { (void)replaced(value.c_str()); }).out;
    return out.substr(out.find(" : ") + 3);
  };
  EXPECT_EQ(shown("tab\t, line\n" + std::string(49, 'x')),
            "tab , line " + std::string(49, 'x') + "\n");
  EXPECT_EQ(shown(std::string(59, 'x') + "\xC3\xA9"), std::string(59, 'x') + "\n");
  EXPECT_EQ(shown(std::string(58, 'x') + "\xC3\xA9"), std::string(58, 'x') + "\xC3\xA9\n");
}

TEST_F(Variables, OfTheLegacyScriptEndTheProcessWhenTheyHaveNoEnd) {
  const std::string endless = "Variable references without end in the line that begins with : ";
  EXPECT_EQ(inChild([] {
              substituted("%loop%", {{"loop", "%loop%"}});
            }),
            (Outcome{255, endless + "%loop%\n"}));
  EXPECT_EQ(inChild([] {
              substituted("%grow%", {{"grow", std::string(600, 'x') + "%grow%%grow%"}});
            }),
            (Outcome{255, endless + "%grow%\n"}));
}

}  // namespace
