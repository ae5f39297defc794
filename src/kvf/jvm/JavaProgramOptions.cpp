#include "kvf/jvm/JavaProgramOptions.h"

#include <algorithm>
#include <iterator>

namespace {

using Use = JavaProgramOption::Use;

constexpr JavaProgramOption options[] = {
    {"-jar", Use::mode, true, true},
    {"-m", Use::module, true, true},
    {"--module", Use::module, true, true},
    {"-cp", Use::classPath, true, true},
    {"-classpath", Use::classPath, true, true},
    {"--class-path", Use::classPath, true, true},
    {"-p", Use::joined, true, true, "--module-path"},
    {"--module-path", Use::joined, true, false},
    {"--upgrade-module-path", Use::joined, true, false},
    {"--add-modules", Use::joined, true, false},
    {"--limit-modules", Use::joined, true, false},
    {"--add-exports", Use::joined, true, false},
    {"--add-opens", Use::joined, true, false},
    {"--add-reads", Use::joined, true, false},
    {"--patch-module", Use::joined, true, false},
    {"--enable-native-access", Use::joined, true, false},
    {"--source", Use::source, true, true},
    {"--show-module-resolution", Use::replaced, false, true,
     "-Djdk.module.showModuleResolution=true"},
    {"-verbosegc", Use::replaced, false, true, "-verbose:gc"},
    {"-noclassgc", Use::replaced, false, true, "-Xnoclassgc"},
    {"-debug", Use::replaced, false, true, "-Xdebug"},
    {"-noverify", Use::replaced, false, true, "-Xverify:none"},
    {"-verify", Use::replaced, false, true, "-Xverify:all"},
    {"-verifyremote", Use::replaced, false, true, "-Xverify:remote"},
    {"-Xfuture", Use::replaced, false, true, "-Xverify:all"},
    {"-server", Use::otherJvm, false, false},
    {"-client", Use::otherJvm, false, false},
    {"-minimal", Use::otherJvm, false, false},
    {"-zero", Use::otherJvm, false, false},
    {"-dcevm", Use::otherJvm, false, false},
    {"-hotspot", Use::nothing, false, false},
    {"-d64", Use::nothing, false, false},
    {"-jre-restrict-search", Use::nothing, false, false},
    {"-jre-no-restrict-search", Use::nothing, false, false},
    {"-no-jre-restrict-search", Use::nothing, false, false},
    {"-Xdiag", Use::itself, false, true, "the launcher has no diagnostics of java itself"},
    {"-XshowSettings", Use::itself, false, true, "only java prints its settings; see kvf explain"},
    {"-showversion", Use::itself, false, true, "only java prints the version"},
    {"--show-version", Use::itself, false, true, "only java prints the version"},
    {"-splash", Use::itself, false, true,
     "only java shows a picture before the application starts"},
    {"--describe-module", Use::ends, true, true},
    {"-d", Use::ends, true, true},
    {"--validate-modules", Use::ends, false, true},
    {"--list-modules", Use::ends, false, true},
    {"--dry-run", Use::ends, false, true},
    {"-version", Use::ends, false, true},
    {"--version", Use::ends, false, true},
    {"-fullversion", Use::ends, false, true},
    {"--full-version", Use::ends, false, true},
    {"-help", Use::ends, false, true},
    {"--help", Use::ends, false, true},
    {"-h", Use::ends, false, true},
    {"-?", Use::ends, false, true},
    {"-X", Use::ends, false, true},
    {"--help-extra", Use::ends, false, true},
};

}  // namespace

std::size_t signOfValue(std::string_view word) {
  if (word.starts_with("--")) return word.find('=');
  const bool hasColon = word.starts_with("-splash:") || word.starts_with("-XshowSettings:");
  return hasColon ? word.find(':') : std::string_view::npos;
}

const JavaProgramOption* javaProgramOption(std::string_view word) {
  const std::string_view name = word.substr(0, signOfValue(word));
  const auto* found =
      std::find_if(std::begin(options), std::end(options),
                   [&](const JavaProgramOption& option) { return option.name == name; });
  return found == std::end(options) ? nullptr : found;
}

bool takesNextWord(std::string_view word) {
  const JavaProgramOption* option = javaProgramOption(word);
  return option != nullptr && option->takesNextWord && option->name == word;
}

bool isOfJavaProgram(std::string_view word) {
  const JavaProgramOption* option = javaProgramOption(word);
  return option != nullptr && option->isOwn;
}

std::size_t lengthOfOldSizeName(std::string_view word) {
  for (const std::string_view name : {"-ms", "-mx", "-ss", "-oss"})
    if (word.starts_with(name)) return name.size();
  return 0;
}
