#include "kvf/commands/KeysCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "kvf/rules/Keys.h"

void addKeysCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("keys", "Lists the keys of a properties file.");
  command->group("");
  const auto asScdoc = std::make_shared<bool>(false);
  command->add_flag("--scd", *asScdoc, "Print the table for a manual page");
  command->final_callback([asScdoc] {
    if (*asScdoc) {
      std::fputs(keysAsScdoc().c_str(), stdout);
      return;
    }
    for (const std::string_view name : settableKeys()) std::printf("%s\n", name.data());
  });
}
