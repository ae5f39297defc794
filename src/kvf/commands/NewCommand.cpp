#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>

#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/package/NewApplication.h"
#include "kvf/process/Interruption.h"
#include "kvf/text/Text.h"

namespace {

/// The launcher that was installed or built together with this program.
std::filesystem::path launcherBesideThis() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / "wrapper";
}

int make(const NewApplicationRequest& request) {
  const InterruptionWatch interruptions;
  std::string text;
  try {
    for (const std::string& note : makeApplication(request))
      text += printable("note: " + note) + "\n";
  } catch (const NewApplicationError& error) {
    return complain(error.what());
  }
  const std::string name = request.name.empty() ? nameForArchive(request.jar) : request.name;
  text += concat({"made ", printable(request.directory.native()), ":\n  bin/", name,
                  "  starts the application, from anywhere\n  ", name,
                  ".kvf  says what it is started with\n  ", name,
                  ".service  is a systemd unit, with ", name, ".tmpfiles.conf\n"});
  return print(text);
}

}  // namespace

RunSubcommand declareNew(CLI::App& command) {
  const auto request = std::make_shared<NewApplicationRequest>();
  request->launcher = launcherBesideThis();
  command.add_option("DIR", request->directory, "The folder to make")->required();
  command.add_option("--jar", request->jar, "The application's archive")
      ->required()
      ->type_name("FILE");
  command.add_option("--lib", request->libraries, "A folder of more archives")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  command.add_option("--name", request->name, "The application's name")->type_name("NAME");
  command.add_option("--main", request->startClass, "The start class, if not the manifest's")
      ->type_name("CLASS");
  command.add_option("--jre", request->runtime, "A Java runtime to ship, such as one by jlink")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  command.add_option("--wrapper", request->launcher, "The launcher to copy")->type_name("FILE");
  command.add_flag("--force", request->force, "Write into a folder that is there already");
  return [request](const LauncherArguments& /*arguments*/) { return make(*request); };
}
