#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "foundation/WString.h"
#include "foundation/wrapper_vid.h"
#include "kvf/commands/ExhaustedMemory.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/process/FileError.h"
#include "kvf/process/Interruption.h"
#include "kvf/text/Text.h"

namespace {

/// Names of values as in the manual page, without types and checks.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string type = option->get_type_name();
    const std::string name = type.substr(0, type.find(':'));
    // The library's names for a text or a number; a positional has its own name.
    const bool isNamed = !option->get_positional() && name != "TEXT" && name != "UINT";
    return isNamed && !name.empty() ? " " + name : "";
  }
};

/// What is wrong with the command line, in one line.
std::string complaintAbout(const CLI::ParseError& error, const CLI::App& app) {
  const std::vector<CLI::App*> parsed = app.get_subcommands();
  const std::vector<std::string> remaining = app.remaining(true);
  std::vector<std::string> names;
  std::string complaint = error.what();
  std::string help = "kvf --help";
  if (!parsed.empty()) {
    help = concat({"kvf ", parsed.front()->get_name(), " --help"});
    for (const CLI::Option* option : parsed.front()->get_options())
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  } else {
    for (const Subcommand& subcommand : subcommands())
      if (!subcommand.hidden) names.emplace_back(subcommand.name);
    complaint = "give a command, such as check";
  }
  if (!remaining.empty()) {
    const std::string& word = remaining.front();
    const bool isOption = word.starts_with('-');
    const std::string meant =
        didYouMean(nearestName(word.substr(0, word.find('=')), {names.begin(), names.end()}));
    complaint =
        parsed.empty() || isOption
            ? concat({"there is no ", isOption ? "option " : "command ", shown(word), meant})
            : concat({shown(word), " is one argument too many"});
  }
  return concat({complaint, "; see ", help});
}

/// The option of the subcommand that takes a value; null: the word is none.
const CLI::Option* valuedOption(const std::string& word, const CLI::App* command) {
  if (command == nullptr || !word.starts_with("--")) return nullptr;
  const CLI::Option* option = command->get_option_no_throw(word);
  return option != nullptr && option->get_items_expected_max() > 0 ? option : nullptr;
}

/// The complaint about the first value or argument that is empty, as none may be: after "--NAME="
/// the parser would take the next word. Empty: there is none.
std::string complaintAboutEmpty(const std::vector<std::string>& words, const CLI::App* command) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string option = words[i].empty() && i > 0 ? words[i - 1] : words[i];
    if (words[i].ends_with('=')) option.pop_back();
    const bool isValued = valuedOption(option, command) != nullptr;
    if (words[i].empty() && !isValued) return "an argument is empty";
    if (isValued && (words[i].empty() || words[i].ends_with('=')))
      return concat({"the value of ", option, " is empty"});
  }
  return {};
}

/// The words for the parser, the last one first, as it needs them. Where a subcommand takes any
/// number of files, it reads a name in brackets as a list of files.
std::vector<std::string> reversed(std::vector<std::string> words, const CLI::App* command) {
  const auto isUnlimited = [](const CLI::Option* option) { return option->get_allow_extra_args(); };
  const std::vector<const CLI::Option*> options =
      command == nullptr ? std::vector<const CLI::Option*>() : command->get_options();
  if (std::any_of(options.begin(), options.end(), isUnlimited)) {
    for (std::string& word : words)
      if (word.starts_with('[') && word.ends_with(']')) word.insert(0, "./");
  }
  std::reverse(words.begin(), words.end());
  return words;
}

int run(int argc, char** argv) {
  // What follows "--" is a command line of the launcher, with switches of its own.
  char** const dashes = std::find_if(
      argv, argv + argc, [](const char* argument) { return std::strcmp(argument, "--") == 0; });
  const LauncherArguments launcherArguments(std::min(dashes + 1, argv + argc), argv + argc);

  CLI::App app("Says what a properties file means before anything starts.", "kvf");
  app.set_version_flag("--version", std::string("kvf ") + wrapper_version);
  app.require_subcommand(1);
  app.formatter(std::make_shared<HelpFormatter>());
  int status = success;
  const std::vector<std::string> words(std::min(argv + 1, dashes), dashes);
  const CLI::App* asked = nullptr;
  for (const Subcommand& subcommand : subcommands()) {
    CLI::App* command = app.add_subcommand(subcommand.name, subcommand.summary);
    command->footer(subcommand.footer);
    if (subcommand.hidden) command->group("");
    if (!words.empty() && words.front() == subcommand.name) asked = command;
    command->final_callback(
        [&, run = subcommand.declare(*command)] { status = run(launcherArguments); });
    // Each value has its own option in front.
    for (CLI::Option* option : command->get_options())
      if (!option->get_positional()) option->allow_extra_args(false);
  }
  if (const std::string complaint = complaintAboutEmpty(words, asked); !complaint.empty())
    return complain(complaint);
  try {
    app.parse(reversed(words, asked));
  } catch (const CLI::Success& request) {
    return app.exit(request, std::cout, std::cerr);
  } catch (const CLI::ParseError& error) {
    return complain(complaintAbout(error, app));
  }
  return status;
}

bool isOutputWritten() {
  return std::cout.flush().good() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

int answer(int argc, char** argv) {
  try {
    const int status = run(argc, argv);
    // A command that could not print has said so.
    if (status == noAnswer || isOutputWritten()) return status;
    return complain("standard output cannot be written");
  } catch (const Interruption& interruption) {
    complain(strsignal(interruption.signal));
    endBy(interruption);
  } catch (const WException& exception) {
    return complain(exception.getDescription(false).view());
  } catch (const std::bad_alloc&) {
    return complainOfMemory();
  } catch (const std::filesystem::filesystem_error& error) {
    std::error_code failed;
    static_cast<void>(std::filesystem::current_path(failed));
    if (failed) return complain("the working directory has been removed: change into another one");
    return complain(FileError("look at", error.path1(), error.code().value()).what());
  } catch (const std::exception& exception) {
    return complain(exception.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  occupyClosedStandardStreams();
  try {
    return answer(argc, argv);
  } catch (const std::bad_alloc&) {
    return complainOfMemory();
  }
}
