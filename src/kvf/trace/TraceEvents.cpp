#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>

#include "kvf/text/JsonText.h"
#include "kvf/trace/TraceFormats.h"

using Json = nlohmann::ordered_json;

namespace {

/// As viewers group them: the rows, and the threads, whose numbers are the system's and may be
/// those of rows.
enum Group : int { rows = 1, threads = 2 };
enum Row : long { phases = 1, creation = 2, initializers = 3, collections = 4 };

double microseconds(TraceTime time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

Json complete(const TraceStretch& stretch, const char* category, Group group, long row) {
  return {{"name", stretch.name},
          {"cat", category},
          {"ph", "X"},
          {"ts", microseconds(stretch.begin)},
          {"dur", microseconds(stretch.duration)},
          {"pid", group},
          {"tid", row}};
}

Json nameOf(const char* what, Group group, long row, const std::string& name) {
  return {{"name", what}, {"ph", "M"}, {"pid", group}, {"tid", row}, {"args", {{"name", name}}}};
}

class Events {
 public:
  explicit Events(const StartTrace& trace) : trace_(trace) {}

  Json all() {
    addNames();
    for (const TraceStretch& phase : trace_.phases)
      events_.push_back(complete(phase, "phase", rows, phases));
    for (const TraceStretch& part : trace_.jvmPhases)
      events_.push_back(complete(part, "phase", rows, creation));
    for (const TraceStretch& initializer : trace_.initializers)
      events_.push_back(complete(initializer, "initializer", rows, initializers));
    for (const TraceStretch& pause : trace_.pauses)
      events_.push_back(complete(pause, "collection", rows, collections));
    for (const TraceStretch& verification : trace_.verifications)
      events_.push_back(complete(verification, "verification", threads, verification.thread));
    addClasses();
    return std::move(events_);
  }

 private:
  void addNames() {
    events_.push_back(nameOf("process_name", rows, phases, trace_.subject));
    events_.push_back(nameOf("process_name", threads, 0, "threads of the JVM"));
    events_.push_back(nameOf("thread_name", rows, phases, "phases"));
    events_.push_back(nameOf("thread_name", rows, creation, "the JVM's creation"));
    events_.push_back(nameOf("thread_name", rows, initializers, "from initialiser to initialiser"));
    events_.push_back(nameOf("thread_name", rows, collections, "pauses of collections"));
    std::set<long> numbers;
    for (const LoadedClass& loaded : trace_.classes) numbers.insert(loaded.thread);
    for (const long thread : numbers) {
      events_.push_back(nameOf("thread_name", threads, thread,
                               thread == trace_.mainThread ? "main: classes" : "classes"));
    }
  }

  /// A mark for each, and how many there are of each origin, at most once in a millisecond.
  void addClasses() {
    std::map<ClassOrigin, std::size_t> counts;
    TraceTime shown = {};
    for (const LoadedClass& loaded : trace_.classes) {
      const char* origin = originWords()[static_cast<std::size_t>(loaded.origin)].title;
      events_.push_back({{"name", loaded.name},
                         {"cat", "class"},
                         {"ph", "i"},
                         {"s", "t"},
                         {"ts", microseconds(loaded.time)},
                         {"pid", threads},
                         {"tid", loaded.thread},
                         {"args", {{"origin", origin}, {"file", loaded.file}}}});
      ++counts[loaded.origin];
      if (loaded.time - shown < std::chrono::milliseconds(1)) continue;
      shown = loaded.time;
      addCounts(counts, loaded.time);
    }
    addCounts(counts, trace_.end);
  }

  void addCounts(const std::map<ClassOrigin, std::size_t>& counts, TraceTime time) {
    Json numbers = Json::object();
    for (const auto& [origin, count] : counts)
      numbers[originWords()[static_cast<std::size_t>(origin)].title] = count;
    events_.push_back({{"name", "classes"},
                       {"ph", "C"},
                       {"ts", microseconds(time)},
                       {"pid", rows},
                       {"tid", 0},
                       {"args", numbers}});
  }

  const StartTrace& trace_;
  Json events_ = Json::array();
};

}  // namespace

std::string traceEvents(const StartTrace& trace) {
  Json remarks = trace.remarks;
  if (!trace.complaint.empty()) remarks.push_back(trace.complaint);
  Json summary = {{"program", "kvf trace"},
                  {"subject", trace.subject},
                  {"until", trace.mark},
                  {"milliseconds", microseconds(trace.end) / 1e3},
                  {"classes", trace.classes.size()},
                  {"remarks", remarks}};
  if (trace.cost) {
    summary["cost"] = {{"pairs", trace.cost->pairs},
                       {"ratio", trace.cost->ratio.median},
                       {"seconds", trace.cost->with},
                       {"secondsWithout", trace.cost->without},
                       {"processorSeconds", trace.cost->processorWith},
                       {"processorSecondsWithout", trace.cost->processorWithout}};
  }
  return jsonText(
      {{"otherData", summary}, {"displayTimeUnit", "ms"}, {"traceEvents", Events(trace).all()}});
}

bool isTraceFile(std::string_view text) {
  constexpr std::string_view starts[] = {"<!DOCTYPE html>\n<!-- kvf trace -->",
                                         "{\n  \"otherData\": {\n    \"program\": \"kvf trace\""};
  return std::any_of(std::begin(starts), std::end(starts),
                     [text](std::string_view start) { return text.starts_with(start); });
}
