#include "kvf/import/ManifestStart.h"

#include <sstream>

#include "kvf/text/Text.h"

namespace {

struct ManifestOption {
  const char* attribute;
  const char* option;
  bool manyValues;        ///< "module/package" texts, each opened to all
  unsigned firstRelease;  ///< of Java that reads it
};
constexpr ManifestOption manifestOptions[] = {
    {.attribute = "Add-Opens", .option = "--add-opens", .manyValues = true, .firstRelease = 9},
    {.attribute = "Add-Exports", .option = "--add-exports", .manyValues = true, .firstRelease = 9},
    {.attribute = "Enable-Native-Access",
     .option = "--enable-native-access",
     .manyValues = false,
     .firstRelease = 22},
};

struct LostAttribute {
  const char* attribute;
  const char* advice;
};
constexpr LostAttribute lostAttributes[] = {
    {"Launcher-Agent-Class",
     "an agent that only `java -jar` starts; if the archive has a Premain-Class too, add "
     "-javaagent: and its path to java.extended.properties"},
    {"SplashScreen-Image", "a picture that only the java command shows"},
    {"JavaFX-Application-Class", "only the java command starts such an application by this name"},
};

}  // namespace

std::vector<std::string> optionsOfManifest(const Manifest& manifest, unsigned release) {
  std::vector<std::string> options;
  for (const ManifestOption& entry : manifestOptions) {
    if (release != 0 && release < entry.firstRelease) continue;
    std::istringstream words(attributeOf(manifest, entry.attribute));
    for (std::string word; words >> word;)
      options.push_back(concat({entry.option, "=", word, entry.manyValues ? "=ALL-UNNAMED" : ""}));
  }
  return options;
}

std::vector<std::string> lossesOfManifest(const Manifest& manifest) {
  std::vector<std::string> losses;
  for (const LostAttribute& lost : lostAttributes) {
    if (!attributeOf(manifest, lost.attribute).empty())
      losses.push_back(concat({lost.attribute, ", ", lost.advice}));
  }
  return losses;
}
