#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "kvf/commands/Output.h"
#include "kvf/commands/StartOptions.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileMove.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/NewFile.h"
#include "kvf/process/TemporaryFolder.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"
#include "kvf/trace/TraceFormats.h"
#include "kvf/trace/TracedLaunch.h"

namespace fs = std::filesystem;

namespace {

struct TraceOptions {
  TraceRequest request;
  std::string page, events;
};

/// A file that the trace goes to. That it can is known before the application runs.
class TraceFile {
 public:
  /// Throws FileError. The file may be one of an earlier trace.
  explicit TraceFile(const fs::path& file)
      : file_(endOfLinks(file)), fresh_(fs::absolute(file_).parent_path(), ".kvf-") {
    std::error_code error;
    if (fs::exists(file_, error) && !isTraceFile(textOfFile(file_)))
      throw FileError(concat({shown(file.native()), " is there, and no trace: it stays as it is"}));
  }

  void write(const std::string& text) const {
    const fs::path fresh = fresh_.path() / "trace";
    const unsigned mode = usualFileMode();
    writeNewFile(fresh, text, mode);
    moveInto(fresh, file_, mode);
  }

 private:
  fs::path file_;
  TemporaryFolder fresh_;
};

std::optional<TraceFile> fileFor(const std::string& name) {
  return name.empty() ? std::nullopt : std::optional<TraceFile>(std::in_place, name);
}

void showProgress(unsigned start, unsigned of) {
  const bool isTerminal = showsProgressInPlace();
  std::fprintf(stderr, "%skvf: start %u of %u that the trace is compared with%s",
               isTerminal ? "\r" : "", start, of, isTerminal && start < of ? "" : "\n");
}

int runTrace(const TraceOptions& options) {
  const InterruptionWatch interruptions;
  const std::optional<TraceFile> page = fileFor(options.page);
  const std::optional<TraceFile> events = fileFor(options.events);
  std::fflush(stdout);
  const TracedLaunch launch = traceLaunch(options.request, showProgress);
  if (!launch.trace) return complain(launch.complaint);
  if (page) page->write(tracePage(*launch.trace));
  if (events) events->write(traceEvents(*launch.trace));
  if (const int status = print(traceTables(*launch.trace), stderr); status != success)
    return status;
  return launch.status == 0 ? success : negative;
}

}  // namespace

RunSubcommand declareTrace(CLI::App& command) {
  const auto options = std::make_shared<TraceOptions>();
  options->request.pairs = 1;
  declareStart(command, options->request, "Starts to compare, with and without the trace; 0: none");
  command.add_option("--html", options->page, "Also write a page with a picture to this file")
      ->type_name("FILE");
  command.add_option("--json", options->events, "Also write it for chrome://tracing and Perfetto")
      ->type_name("FILE");
  return [options](const LauncherArguments& arguments) {
    options->request.arguments = arguments;
    return runTrace(*options);
  };
}
