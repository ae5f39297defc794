#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>

#include "kvf/commands/Output.h"
#include "kvf/commands/StartSources.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/import/ImportError.h"
#include "kvf/package/NewApplication.h"
#include "kvf/process/Interruption.h"
#include "kvf/text/Text.h"

namespace {

/// The launcher that was installed or built together with this program.
std::filesystem::path launcherBesideThis() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / "wrapper";
}

struct NewQuestion {
  NewApplicationRequest request;
  StartSources sources;
  std::string releases;
};

int make(NewQuestion& question, const LauncherArguments& commandLine) {
  const InterruptionWatch interruptions;
  NewApplicationRequest& request = question.request;
  NewApplication made;
  std::string text;
  try {
    if (question.sources.count(commandLine) + (request.jars.empty() ? 0 : 1) != 1) {
      return complain(
          "give one of --jar FILE, -- java ..., --pid NUMBER and --unit UNIT; see kvf new --help");
    }
    if (const auto releases = JavaReleases::of(question.releases)) {
      request.releases = *releases;
    } else if (!question.releases.empty()) {
      return complain(
          concat({shown(question.releases), " is not a release of Java, such as 17 or 17..25"}));
    }
    if (request.jars.empty()) {
      const bool isOfJars = !request.startClass.empty() || !request.libraries.empty() ||
                            !request.runtime.empty() || !question.releases.empty();
      if (isOfJars) return complain("--lib, --main, --java and --jre belong to --jar");
      request.start = question.sources.start(commandLine);
    }
    made = makeApplication(request);
    for (const std::string& note : made.notes) text += printable("note: " + note) + "\n";
  } catch (const NewApplicationError& error) {
    return complain(error.what());
  } catch (const ImportError& error) {
    return complain(error.what());
  }
  const std::string& name = made.name;
  text += concat({"made ", printable(request.directory.native()), ":\n  bin/", name,
                  "  starts the application, from anywhere\n  ", name,
                  ".kvf  sets what it is started with\n  ", name,
                  ".service  is a systemd unit, with ", name, ".tmpfiles.conf\n"});
  const ExitStatus status = print(text);
  return status == success && !made.isComplete ? negative : status;
}

}  // namespace

RunSubcommand declareNew(CLI::App& command) {
  const auto question = std::make_shared<NewQuestion>();
  NewApplicationRequest* const request = &question->request;
  request->launcher = launcherBesideThis();
  command.add_option("DIR", request->directory, "The folder to make")->required();
  command
      .add_option("--jar", request->jars, "The application's archive; several, in class-path order")
      ->type_name("FILE");
  question->sources.declare(command);
  command.add_option("--lib", request->libraries, "A folder with more archives")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  command.add_option("--name", request->name, "The application's name")->type_name("NAME");
  command.add_option("--main", request->startClass, "The start class, if not that of the manifest")
      ->type_name("CLASS");
  command
      .add_option("--jre", request->runtime, "A Java runtime to ship, such as one made by jlink")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
  command.add_option("--java", question->releases, "The release of Java, such as 17 or 17..25")
      ->type_name("RELEASE");
  command.add_option("--wrapper", request->launcher, "The launcher to copy")->type_name("FILE");
  command.add_flag("--force", request->force, "Write into a folder that already exists");
  return [question](const LauncherArguments& arguments) { return make(*question, arguments); };
}
