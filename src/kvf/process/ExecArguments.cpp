#include "kvf/process/ExecArguments.h"

#include <string_view>

#include <unistd.h>

#include "kvf/text/Text.h"

std::vector<char*> nullTerminated(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& variables) {
  std::vector<std::string> environment;
  for (char** entry = ::environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const std::string name(text.substr(0, text.find('=')));
    if (!variables.contains(name)) environment.emplace_back(text);
  }
  for (const auto& [name, value] : variables) environment.push_back(concat({name, "=", value}));
  return environment;
}
