#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <unistd.h>

#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/explain/ExplanationJson.h"
#include "kvf/explain/ExplanationText.h"
#include "kvf/explain/LaunchExplanation.h"
#include "kvf/launch/Inspector.h"
#include "kvf/launch/Secrets.h"
#include "kvf/rules/Keys.h"
#include "kvf/text/Text.h"

namespace {

struct ExplainOptions {
  std::string file;
  std::string key;
  bool json = false;
  bool showsSecrets = false;
};

int runExplain(const ExplainOptions& options, const std::vector<std::string>& arguments) {
  if (::access(options.file.c_str(), R_OK) != 0) {
    return complain(shown(options.file) + " cannot be read");
  }
  Inspection inspection = inspectFile(options.file, arguments);
  if (!options.showsSecrets) Secrets(inspection).mask(inspection);
  if (options.key.empty()) {
    const LaunchExplanation launch = explainLaunch(inspection);
    return options.json ? printJson(asJson(launch)) : print(asText(launch));
  }
  const KeyExplanation key = explainOneKey(inspection, options.key);
  if (key.chain.empty() && findKey(options.key) == nullptr) {
    return complain(concat({"there is no key ", shown(options.key),
                            didYouMean(nearestName(options.key, settableKeys()))}));
  }
  return options.json ? printJson(asJson(key)) : print(asText(key));
}

}  // namespace

RunSubcommand declareExplain(CLI::App& command) {
  const auto options = std::make_shared<ExplainOptions>();
  command.add_option("FILE", options->file, "A properties file")->required();
  command.add_option("--key", options->key, "Only one key, with its chain of definitions")
      ->type_name("KEY");
  command.add_flag("--json", options->json, "Print JSON");
  command.add_flag("--show-secrets", options->showsSecrets, "Print passwords instead of ***");
  return [options](const LauncherArguments& arguments) { return runExplain(*options, arguments); };
}
