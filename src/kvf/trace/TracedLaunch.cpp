#include "kvf/trace/TracedLaunch.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "config/Switches.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/cds/ClassDataSharing.h"
#include "kvf/jvm/OptionVariables.h"
#include "kvf/launch/Inspector.h"
#include "kvf/process/FolderFiles.h"
#include "kvf/process/ProgramRun.h"
#include "kvf/process/TemporaryFolder.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

/// That of the last word first.
constexpr const char* variablesOfJvm[] = {optionvariables::last, optionvariables::first};

std::string pickedUp(const std::string& variable, const std::string& value) {
  return concat({"Picked up ", variable, ": ", value, "\n"});
}

struct ProcessLog {
  int process = 0;
  JvmLog log;
};

/// Where a trace ends, and what that is called.
struct Mark {
  TraceTime time;
  std::string name;
};

Mark markOf(const TraceRequest& request, const ProgramEnd& end) {
  const TraceTime last = end.started.time_since_epoch() + end.time;
  if (end.reached) return {last, concat({shown(request.until), " was printed"})};
  if (request.until.empty() && end.firstOutput) {
    return {end.firstOutput->at.time_since_epoch(),
            concat({"the first output, on standard ",
                    end.firstOutput->stream == 1 ? "output" : "error"})};
  }
  return {last, end.stopped ? "it was told to end" : "its end, without any output"};
}

double seconds(TraceTime time) {
  return std::chrono::duration<double>(time).count();
}

class Tracer {
 public:
  explicit Tracer(const TraceRequest& request) : request_(request), inspection_(inspect(request)) {}

  TracedLaunch trace(const std::function<void(unsigned, unsigned)>& progress) {
    TracedLaunch result;
    result.complaint = prepare();
    if (!result.complaint.empty()) return result;
    startBeside(progress);
    clearLogs();
    logged_.output = ProgramRun::Output::passedOn;
    const ProgramEnd end = runProgram(logged_);
    if (end.error != 0) {
      result.complaint =
          request_.launcher.native() + " cannot be started: " + std::strerror(end.error);
      return result;
    }
    take(end, with_);
    if (!end.stopped && !end.reached) result.status = end.status;
    result.trace = read(end);
    if (!result.trace)
      result.complaint = concat(
          {"the JVM wrote no log; the launch ended with status ", std::to_string(end.status)});
    return result;
  }

 private:
  static Inspection inspect(const TraceRequest& request) {
    std::vector<std::string> line = {"wrapper", switches::run, switches::propFile, request.file};
    line.insert(line.end(), request.arguments.begin(), request.arguments.end());
    return inspectCommandLine(line);
  }

  /// Why it cannot be traced, or nothing.
  std::string prepare() {
    ClassDataSubject subject = classDataSubject(inspection_);
    if (!subject.launch) return request_.file + ": " + subject.complaint + "; see kvf check";
    launch_ = std::move(*subject.launch);
    if (launch_.jvm.release != 0 && launch_.jvm.release < firstReleaseWithLog) {
      return concat({request_.file, ": Java ", launch_.jvm.version,
                     " has no log of this kind; Java ", std::to_string(firstReleaseWithLog),
                     " and newer have"});
    }
    plain_.arguments = {request_.launcher, switches::run, switches::propFile, request_.file};
    plain_.arguments.insert(plain_.arguments.end(), request_.arguments.begin(),
                            request_.arguments.end());
    plain_.output = ProgramRun::Output::taken;
    plain_.until = request_.until;
    if (request_.runFor) plain_.limit = std::chrono::seconds(*request_.runFor);
    logged_ = plain_;
    const fs::path file = logs_.path() / "%p.log";
    const auto words = file.native().find('"') == std::string::npos
                           ? asWords({loggingOption(launch_.jvm.release, file)})
                           : std::nullopt;
    if (!words)
      return logs_.path().native() + " has a quote in its name; set TMPDIR to another one";
    return addOption(*words);
  }

  /// Gives the option to the JVM by a variable that the file does not set itself, and takes back
  /// what the JVM says about it.
  std::string addOption(const std::string& words) {
    for (const char* variable : variablesOfJvm) {
      if (inspection_.plan.exported.contains(variable)) continue;
      const char* already = std::getenv(variable);
      const std::string value = already == nullptr ? words : concat({already, " ", words});
      logged_.environment[variable] = value;
      logged_.replacement = {pickedUp(variable, value),
                             already == nullptr ? "" : pickedUp(variable, already)};
      return {};
    }
    return concat({request_.file, " sets both ", optionvariables::last, " and ",
                   optionvariables::first,
                   " for the JVM, which leaves no way to ask it for a log"});
  }

  /// The starts to compare with, as long as they can be compared.
  void startBeside(const std::function<void(unsigned, unsigned)>& progress) {
    const unsigned others = 2 * request_.pairs;
    for (unsigned start = 0; start < others && incomparable_.empty(); ++start) {
      progress(start + 1, others);
      const bool isLogged = start > 0 && start % 2 == 0;
      const ProgramEnd end = runProgram(isLogged ? logged_ : plain_);
      if (start == 0) {
        // It warms the caches, and the others have to end like it.
        status_ = end.status;
        incomparable_ = failureOf(end);
      } else {
        take(end, isLogged ? with_ : without_);
      }
    }
  }

  void take(const ProgramEnd& end, std::vector<ProgramEnd>& ends) {
    ends.push_back(end);
    if (request_.pairs > 0 && incomparable_.empty()) incomparable_ = failureOf(end);
  }

  /// Why its time says nothing, or nothing.
  [[nodiscard]] std::string failureOf(const ProgramEnd& end) const {
    const bool isToldToEnd = end.stopped && !end.killed && request_.until.empty();
    return isToldToEnd ? std::string() : ::failureOf(plain_, end, status_);
  }

  void clearLogs() const {
    for (const std::string& name : namesIn(logs_.path())) fs::remove(logs_.path() / name);
  }

  [[nodiscard]] std::vector<ProcessLog> readLogs() const {
    std::vector<ProcessLog> logs;
    for (const std::string& name : namesIn(logs_.path())) {
      JvmLog log = parseJvmLog(textOfFile(logs_.path() / name));
      if (!log.events.empty())
        logs.push_back({static_cast<int>(std::strtol(name.c_str(), nullptr, 10)), std::move(log)});
    }
    std::sort(logs.begin(), logs.end(),
              [](const ProcessLog& a, const ProcessLog& b) { return a.log.begin < b.log.begin; });
    return logs;
  }

  [[nodiscard]] std::optional<StartTrace> read(const ProgramEnd& end) const {
    const std::vector<ProcessLog> logs = readLogs();
    if (logs.empty()) return std::nullopt;
    // The JVM of the application, which another process may have with another command.
    const auto chosen =
        std::max_element(logs.begin(), logs.end(), [&](const ProcessLog& a, const ProcessLog& b) {
          const auto rank = [&](const ProcessLog& each) {
            return std::pair(runs(each.log, launch_.startClass), each.process == end.process);
          };
          return rank(a) < rank(b);
        });
    const Mark mark = markOf(request_, end);
    TracedRun run = {end.started.time_since_epoch(), mark.time, launch_.startClass,
                     launch_.jvm.home};
    const std::vector<std::string> archives = sharedArchiveFiles(inspection_.plan.options);
    if (!archives.empty()) run.archive = inspection_.atApplication(archives.back());
    StartTrace trace = traceOf(chosen->log, run);
    trace.subject = concat({request_.file, ", Java ", launch_.jvm.version});
    trace.mark = mark.name;
    addRemarks(trace, chosen - logs.begin(), logs.end() - chosen - 1, end);
    if (request_.pairs > 0 && incomparable_.empty()) trace.cost = cost();
    return trace;
  }

  void addRemarks(StartTrace& trace, std::ptrdiff_t before, std::ptrdiff_t after,
                  const ProgramEnd& end) const {
    const auto say = [&](std::initializer_list<std::string_view> pieces) {
      trace.remarks.push_back(concat(pieces));
    };
    if (inspection_.inner)
      say({"For the variables that the file exports, the launcher starts itself again."});
    if (before > 0) say({"The launcher's time holds another JVM, that of the adjuster."});
    if (after > 0)
      say({"Not shown: ", countOf(static_cast<std::size_t>(after), "further JVM"),
           " that the application started."});
    if (trace.mainThread == 0)
      say({"Until then the JVM had not begun to run ", launch_.startClass, "."});
    if (end.status != 0 && !end.stopped && !end.reached)
      say({"It ended with status ", std::to_string(end.status), "."});
    if (!incomparable_.empty())
      say({"What the trace costs is not known: in one of the starts ", incomparable_, "."});
  }

  [[nodiscard]] TraceCost cost() const {
    const auto toMark = [&](const ProgramEnd& end) {
      return seconds(markOf(request_, end).time - end.started.time_since_epoch());
    };
    std::vector<double> with;
    std::vector<double> without;
    std::vector<double> ratios;
    std::vector<double> processorWith;
    std::vector<double> processorWithout;
    for (std::size_t pair = 0; pair < with_.size(); ++pair) {
      with.push_back(toMark(with_[pair]));
      without.push_back(toMark(without_[pair]));
      ratios.push_back(with.back() / without.back());
      processorWith.push_back(seconds(with_[pair].processorTime));
      processorWithout.push_back(seconds(without_[pair].processorTime));
    }
    TraceCost cost;
    cost.pairs = request_.pairs;
    cost.with = quartilesOf(with).median;
    cost.without = quartilesOf(without).median;
    cost.ratio = quartilesOf(ratios);
    cost.processorWith = quartilesOf(processorWith).median;
    cost.processorWithout = quartilesOf(processorWithout).median;
    return cost;
  }

  const TraceRequest& request_;
  Inspection inspection_;
  ClassDataLaunch launch_;
  TemporaryFolder logs_;
  ProgramRun plain_, logged_;
  std::vector<ProgramEnd> with_, without_;
  int status_ = 0;            ///< of the first start
  std::string incomparable_;  ///< why the starts cannot be compared; empty: they can
};

}  // namespace

TracedLaunch traceLaunch(const TraceRequest& request,
                         const std::function<void(unsigned start, unsigned of)>& progress) {
  return Tracer(request).trace(progress);
}
