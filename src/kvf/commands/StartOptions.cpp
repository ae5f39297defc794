#include "kvf/commands/StartOptions.h"

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

void declareStart(CLI::App& command, StartRequest& request, const char* whatPairsAre) {
  std::error_code error;
  request.launcher = fs::read_symlink("/proc/self/exe", error).parent_path() / "wrapper";
  command.add_option("FILE", request.file, "The properties file")
      ->required()
      ->check(CLI::ExistingFile);
  command.add_option("--until", request.until, "End the application once it prints this")
      ->type_name("OUTPUT");
  command.add_option("--run-for", request.runFor, "End the application after this time")
      ->type_name("SECONDS");
  command.add_option("--pairs", request.pairs, whatPairsAre)
      ->type_name("N")
      ->check(CLI::Range(0U, 1000U));
  command.add_option("--wrapper", request.launcher, "The launcher")->type_name("FILE");
}
