#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "kvf/commands/Output.h"
#include "kvf/commands/StartSources.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/import/ImportError.h"
#include "kvf/import/ImportedFile.h"
#include "kvf/import/JavaCommandLine.h"
#include "kvf/import/JavaStart.h"
#include "kvf/process/FileError.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/NewFile.h"
#include "kvf/process/PreparedFile.h"
#include "kvf/text/PropertiesSpelling.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

struct ImportQuestion {
  StartSources sources;
  fs::path file;     ///< the file to write; empty: standard output
  fs::path secrets;  ///< the file for the secrets; empty: they stay
};

constexpr unsigned forOwner = 0600;

/// The file of the secrets as the other one names it; both may be moved together.
std::string includeOf(const ImportQuestion& question) {
  if (question.secrets.empty()) return {};
  const fs::path secrets = fs::absolute(question.secrets).lexically_normal();
  if (!question.file.empty() &&
      fs::absolute(question.file).lexically_normal().parent_path() == secrets.parent_path())
    return concat({"%kvf.file.dir%/", spelledPart(secrets.filename().native())});
  return spelledPart(secrets.native());
}

/// Writes both or neither; what has no file goes to standard output.
ExitStatus write(const ImportQuestion& question, const ImportedFile& imported) {
  std::optional<PreparedFile> secrets;
  std::optional<PreparedFile> file;
  if (!imported.secrets.empty()) secrets.emplace(question.secrets, imported.secrets, forOwner);
  if (!question.file.empty())
    file.emplace(question.file, imported.text, imported.holdsSecrets ? forOwner : usualFileMode());
  if (secrets) secrets->place();
  if (file) file->place();
  if (!file) {
    if (const ExitStatus status = print(imported.text); status != success) return status;
  }
  if (secrets) secrets->keep();
  if (file) file->keep();
  return success;
}

int import(const ImportQuestion& question, const LauncherArguments& commandLine) {
  const InterruptionWatch interruptions;
  try {
    if (question.sources.count(commandLine) != 1) {
      return complain(
          "give one of -- java ..., --pid NUMBER and --unit UNIT; see kvf import --help");
    }
    const JavaStart start = question.sources.start(commandLine);
    const ImportedFile imported =
        importedFile(start, readJavaCommandLine(start), {includeOf(question), "", ""});
    if (const ExitStatus status = write(question, imported); status != success) return status;
    for (const std::string& loss : imported.losses) complain("not carried over: " + loss);
    if (imported.holdsSecrets)
      complain(
          "the file holds a password or the like; --secrets FILE puts it into a file of its own");
    return imported.losses.empty() ? success : negative;
  } catch (const ImportError& error) {
    return complain(error.what());
  } catch (const FileError& error) {
    return complain(error.what());
  }
}

}  // namespace

RunSubcommand declareImport(CLI::App& command) {
  const auto question = std::make_shared<ImportQuestion>();
  question->sources.declare(command);
  command.add_option("--write", question->file, "Write this new file")->type_name("FILE");
  command
      .add_option("--secrets", question->secrets,
                  "Put passwords into this new file, with mode 0600")
      ->type_name("FILE");
  return [question](const LauncherArguments& arguments) { return import(*question, arguments); };
}
