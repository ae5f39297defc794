#include "kvf/jvm/JavaProgramOptions.h"

#include <algorithm>
#include <iterator>

namespace {

struct ProgramOption {
  std::string_view name;
  bool takesNextWord;
  bool isOwn;
};

constexpr ProgramOption options[] = {
    {"-cp", true, true},
    {"-classpath", true, true},
    {"--class-path", true, true},
    {"-jar", true, true},
    {"-p", true, true},
    {"-m", true, true},
    {"--module", true, true},
    {"-d", true, true},
    {"--describe-module", true, true},
    {"--module-path", true, false},
    {"--add-modules", true, false},
    {"--add-exports", true, false},
    {"--add-opens", true, false},
    {"--add-reads", true, false},
    {"--patch-module", true, false},
    {"--limit-modules", true, false},
    {"--upgrade-module-path", true, false},
    {"--enable-native-access", true, false},
    {"--source", true, false},
    {"--list-modules", false, true},
    {"--dry-run", false, true},
    {"--validate-modules", false, true},
    {"-version", false, true},
    {"--version", false, true},
    {"-showversion", false, true},
    {"--show-version", false, true},
    {"-fullversion", false, true},
    {"--full-version", false, true},
    {"-help", false, true},
    {"--help", false, true},
    {"-h", false, true},
    {"-?", false, true},
    {"-X", false, true},
    {"--help-extra", false, true},
};

const ProgramOption* find(std::string_view name) {
  const auto* found =
      std::find_if(std::begin(options), std::end(options),
                   [&](const ProgramOption& option) { return option.name == name; });
  return found == std::end(options) ? nullptr : found;
}

}  // namespace

bool takesNextWord(std::string_view option) {
  const ProgramOption* found = find(option);
  return found != nullptr && found->takesNextWord;
}

bool isOfJavaProgram(std::string_view option) {
  const ProgramOption* found = find(option);
  return found != nullptr && found->isOwn;
}
