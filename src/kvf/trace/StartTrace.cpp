#include "kvf/trace/StartTrace.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kvf/text/PercentEscapes.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

using Kind = LogEvent::Kind;

constexpr OriginWords originTable[] = {
    {"archive of the JVM", "#3b6fb6", true},
    {"static archive", "#2a9d8f", true},
    {"dynamic archive", "#52b788", true},
    {"AOT cache", "#1b7f5c", true},
    {"modules of the JDK", "#e9b44c", false},
    {"jars", "#e07a3f", false},
    {"folders", "#c8553d", false},
    {"generated at run time", "#9b5de5", false},
    {"elsewhere", "#8d99ae", false},
};

constexpr std::string_view creation = "Create VM";

/// "file:/opt/acme%20x/a.jar" -> "/opt/acme x/a.jar".
std::string pathOf(std::string_view url) {
  url.remove_prefix(std::string_view("file:").size());
  if (url.starts_with("///")) url.remove_prefix(2);
  return percentDecoded(url);
}

/// A class loader may name any place, such as "/groovy/shell".
ClassOrigin originOfPath(const std::string& path) {
  if (path.ends_with('/')) return ClassOrigin::folder;
  return fs::path(path).has_extension() ? ClassOrigin::jar : ClassOrigin::elsewhere;
}

bool isBelow(const fs::path& file, const fs::path& folder) {
  std::error_code error;
  const fs::path inner = fs::weakly_canonical(file, error);
  const fs::path outer = fs::weakly_canonical(folder, error);
  return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

/// Where classes come from, as far as the JVM has told so far which archives it has opened.
class Sources {
 public:
  /// Some releases do not tell; then the launch's own archive is it, if it names one.
  explicit Sources(const TracedRun& run) : javaHome_(run.javaHome), base_(run.archive) {
    if (!base_.empty()) origin_ = ClassOrigin::staticArchive;
  }

  void open(const LogEvent& event) {
    if (std::exchange(hasOpened_, true)) {
      top_ = event.name;
      return;
    }
    base_ = event.name;
    origin_ = event.kind == Kind::cacheOpened  ? ClassOrigin::aotCache
              : isBelow(event.name, javaHome_) ? ClassOrigin::ownArchive
                                               : ClassOrigin::staticArchive;
  }

  void classify(std::string_view source, LoadedClass& loaded) const {
    constexpr std::string_view shared = "shared objects file";
    if (source.starts_with(shared)) {
      const bool isTop = source.find("(top)") != std::string_view::npos;
      loaded.origin = isTop ? ClassOrigin::dynamicArchive : origin_;
      loaded.file = isTop ? top_ : base_;
    } else if (source.starts_with("jrt:")) {
      loaded.origin = ClassOrigin::jdkModules;
      loaded.file = source.substr(std::string_view("jrt:/").size());
    } else if (source.starts_with("file:")) {
      loaded.file = pathOf(source);
      loaded.origin = originOfPath(loaded.file);
    } else if (source.find(':') != std::string_view::npos) {
      loaded.file = source;
      const bool isJar = source.starts_with("jar:") || source.starts_with("nested:");
      loaded.origin = isJar ? ClassOrigin::jar : ClassOrigin::elsewhere;
    } else {
      // The class that made it, or "__JVM_LookupDefineClass__" and the like.
      loaded.origin = ClassOrigin::generated;
    }
  }

 private:
  fs::path javaHome_;
  ClassOrigin origin_ = ClassOrigin::ownArchive;
  std::string base_, top_;
  bool hasOpened_ = false;
};

bool begins(const LogEvent& event, const std::string& startClass) {
  return (event.kind == Kind::initializerBegin || event.kind == Kind::classInitialized) &&
         event.name == startClass;
}

class Tracing {
 public:
  Tracing(const JvmLog& log, const TracedRun& run) : log_(log), run_(run), sources_(run) {}

  StartTrace trace() {
    trace_.end = run_.ended - run_.started;
    trace_.complaint = log_.complaint;
    const auto main =
        std::find_if(log_.events.begin(), log_.events.end(),
                     [&](const LogEvent& event) { return begins(event, run_.startClass); });
    if (main != log_.events.end()) {
      trace_.mainThread = main->thread;
      mainBegin_ = main->time;
    }
    for (const LogEvent& event : log_.events) {
      if (event.kind == Kind::archiveOpened || event.kind == Kind::cacheOpened)
        sources_.open(event);
      if (event.time <= run_.ended) take(event);
    }
    endInitializer(run_.ended);
    addPhases();
    return std::move(trace_);
  }

 private:
  [[nodiscard]] TraceTime sinceStart(TraceTime time) const { return time - run_.started; }

  [[nodiscard]] TraceStretch ended(const LogEvent& event) const {
    return {event.name, sinceStart(event.time - event.duration), event.duration, event.thread};
  }

  void take(const LogEvent& event) {
    const bool isMain = event.thread == trace_.mainThread;
    switch (event.kind) {
      case Kind::classLoaded: {
        LoadedClass& loaded = trace_.classes.emplace_back(
            LoadedClass{event.name, sinceStart(event.time), event.thread});
        sources_.classify(event.source, loaded);
        if (isMain && initializer_) ++initializer_->classes;
        break;
      }
      case Kind::classInitialized:
        if (isMain) endInitializer(event.time);
        break;
      case Kind::initializerBegin:
        if (!isMain) break;
        endInitializer(event.time);
        initializer_ = TraceStretch{event.name, sinceStart(event.time), {}, event.thread};
        break;
      case Kind::verificationBegin:
        verifying_[{event.thread, event.name}] = event.time;
        break;
      case Kind::verificationEnd:
        if (const auto begin = verifying_.extract({event.thread, event.name}))
          trace_.verifications.push_back(
              {event.name, sinceStart(begin.mapped()), event.time - begin.mapped(), event.thread});
        break;
      case Kind::phaseEnd:
        if (event.name == creation) {
          creationEnd_ = event.time;
        } else {
          trace_.jvmPhases.push_back(ended(event));
        }
        break;
      case Kind::pauseEnd:
        trace_.pauses.push_back(ended(event));
        break;
      case Kind::archiveOpened:
      case Kind::cacheOpened:
        break;
    }
  }

  void endInitializer(TraceTime time) {
    if (!initializer_) return;
    initializer_->duration = sinceStart(time) - initializer_->begin;
    trace_.initializers.push_back(std::move(*initializer_));
    initializer_.reset();
  }

  /// Those that came, each up to the next one's begin.
  void addPhases() {
    struct Begin {
      const char* name;
      std::optional<TraceTime> time;
    };
    const Begin begins[] = {{"launcher: settings, and loading the JVM", run_.started},
                            {"JVM: its creation", log_.begin},
                            {"launcher: finding the start class", creationEnd_},
                            {"application", mainBegin_}};
    for (const Begin& begin : begins) {
      if (!begin.time || *begin.time > run_.ended) continue;
      const TraceTime time = sinceStart(*begin.time);
      if (!trace_.phases.empty()) trace_.phases.back().duration = time - trace_.phases.back().begin;
      trace_.phases.push_back({begin.name, time, trace_.end - time});
    }
  }

  const JvmLog& log_;
  const TracedRun& run_;
  Sources sources_;
  StartTrace trace_;
  std::optional<TraceStretch> initializer_;
  std::optional<TraceTime> creationEnd_, mainBegin_;
  std::map<std::pair<long, std::string>, TraceTime> verifying_;
};

}  // namespace

std::span<const OriginWords> originWords() {
  return originTable;
}

StartTrace traceOf(const JvmLog& log, const TracedRun& run) {
  return Tracing(log, run).trace();
}

bool runs(const JvmLog& log, const std::string& startClass) {
  return std::any_of(log.events.begin(), log.events.end(),
                     [&](const LogEvent& event) { return begins(event, startClass); });
}

TraceTime StartTrace::verificationTime() const {
  TraceTime time = {};
  for (const TraceStretch& verification : verifications) time += verification.duration;
  return time;
}

std::map<ClassOrigin, std::size_t> StartTrace::origins() const {
  std::map<ClassOrigin, std::size_t> counts;
  for (const LoadedClass& loaded : classes) ++counts[loaded.origin];
  return counts;
}

std::vector<std::pair<std::string, std::size_t>> StartTrace::filesOf(ClassOrigin origin) const {
  std::map<std::string, std::size_t> counts;
  for (const LoadedClass& loaded : classes) {
    if (loaded.origin == origin && !loaded.file.empty()) ++counts[loaded.file];
  }
  std::vector<std::pair<std::string, std::size_t>> files(counts.begin(), counts.end());
  std::stable_sort(files.begin(), files.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  return files;
}

std::vector<TraceStretch> StartTrace::longestInitializers(std::size_t most) const {
  std::vector<TraceStretch> longest = initializers;
  std::stable_sort(
      longest.begin(), longest.end(),
      [](const TraceStretch& a, const TraceStretch& b) { return a.duration > b.duration; });
  longest.resize(std::min(most, longest.size()));
  std::sort(longest.begin(), longest.end(),
            [](const TraceStretch& a, const TraceStretch& b) { return a.begin < b.begin; });
  return longest;
}
