#include "kvf/trace/JvmLog.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "kvf/cds/ClassDataSharing.h"
#include "kvf/text/Text.h"

namespace {

using Kind = LogEvent::Kind;
using std::chrono::nanoseconds;

// Since then the JVM says what it does about an archive under another name, too.
constexpr unsigned firstWithAotTag = 24;

/// "[23383797720865ns][9564522ns][2211][info ][gc,phases  ] Pause Mark 0.1ms"
struct LogLine {
  nanoseconds time, uptime;
  long thread = 0;
  std::string_view tags, message;
};

std::optional<long> numberIn(std::string_view text) {
  long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && end == text.data() + text.size() && number >= 0;
  return isNumber ? std::optional(number) : std::nullopt;
}

std::string_view withoutEnd(std::string_view text, std::string_view end) {
  return text.ends_with(end) ? text.substr(0, text.size() - end.size()) : std::string_view();
}

/// The decoration in brackets at the start, which it takes off.
std::string_view takeDecoration(std::string_view& line) {
  const std::size_t end = line.find(']');
  if (!line.starts_with('[') || end == std::string_view::npos) return {};
  std::string_view decoration = line.substr(1, end - 1);
  line.remove_prefix(end + 1);
  decoration.remove_suffix(decoration.size() - 1 - decoration.find_last_not_of(' '));
  return decoration;
}

std::optional<LogLine> lineOf(std::string_view text) {
  const auto time = numberIn(withoutEnd(takeDecoration(text), "ns"));
  const auto uptime = numberIn(withoutEnd(takeDecoration(text), "ns"));
  const auto thread = numberIn(takeDecoration(text));
  const std::string_view level = takeDecoration(text);
  const std::string_view tags = takeDecoration(text);
  if (!time || !uptime || !thread || level.empty() || !text.starts_with(' ')) return std::nullopt;
  return LogLine{nanoseconds(*time), nanoseconds(*uptime), *thread, tags, text.substr(1)};
}

std::string withDots(std::string_view name) {
  std::string text(name);
  std::replace(text.begin(), text.end(), '/', '.');
  return text;
}

/// "0.0002678" of the unit.
std::optional<nanoseconds> durationIn(std::string_view text, double unit) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  constexpr double longest = 1e6;
  if (error != std::errc() || end != text.data() + text.size() || !(number >= 0) ||
      number > longest)
    return std::nullopt;
  return nanoseconds(std::llround(number * unit));
}

/// "NAME source: SOURCE".
bool readLoad(std::string_view message, LogEvent& event) {
  constexpr std::string_view mark = " source: ";
  const std::size_t at = message.find(mark);
  if (at == std::string_view::npos) return false;
  event.kind = Kind::classLoaded;
  event.name = message.substr(0, at);
  event.source = message.substr(at + mark.size());
  return true;
}

/// "12 Initializing 'java/lang/String' (0x0...)", with "(no method)" after the name; "Start class
/// verification for: NAME", "End ...".
bool readInitialization(std::string_view message, LogEvent& event) {
  constexpr std::string_view verification = " class verification for: ";
  const std::size_t at = message.find(verification);
  if (at != std::string_view::npos) {
    event.kind = message.starts_with("Start") ? Kind::verificationBegin : Kind::verificationEnd;
    event.name = message.substr(at + verification.size());
    return true;
  }
  constexpr std::string_view initializing = " Initializing '";
  const std::size_t begin = message.find(initializing);
  if (begin == std::string_view::npos) return false;
  const std::string_view name = message.substr(begin + initializing.size());
  const std::size_t end = name.find('\'');
  if (end == std::string_view::npos) return false;
  const bool hasCode = !name.substr(end).starts_with("'(no method)");
  event.kind = hasCode ? Kind::initializerBegin : Kind::classInitialized;
  event.name = withDots(name.substr(0, end));
  return true;
}

/// "Genesis, 0.0518002 secs".
bool readPhase(std::string_view message, LogEvent& event) {
  const std::size_t comma = message.rfind(", ");
  if (comma == std::string_view::npos) return false;
  const auto duration = durationIn(withoutEnd(message.substr(comma + 2), " secs"), 1e9);
  if (!duration) return false;
  event.kind = Kind::phaseEnd;
  event.name = message.substr(0, comma);
  event.duration = *duration;
  return true;
}

/// "GC(0) Pause Young (Normal) (G1 Evacuation Pause) 17M->3M(384M) 29.860ms".
bool readPause(std::string_view message, LogEvent& event) {
  const std::size_t begin = message.find("Pause ");
  const std::size_t blank = message.rfind(' ');
  if (begin == std::string_view::npos || blank == std::string_view::npos || blank < begin)
    return false;
  const auto duration = durationIn(withoutEnd(message.substr(blank + 1), "ms"), 1e6);
  if (!duration) return false;
  event.kind = Kind::pauseEnd;
  event.name = message.substr(begin, blank - begin);
  event.duration = *duration;
  return true;
}

/// "Opened archive FILE.", "Opened AOT cache FILE.".
bool readArchive(std::string_view message, LogEvent& event) {
  struct Opening {
    std::string_view text;
    Kind kind;
  };
  constexpr Opening openings[] = {{"Opened archive ", Kind::archiveOpened},
                                  {"Opened shared archive file ", Kind::archiveOpened},
                                  {"Opened AOT cache ", Kind::cacheOpened}};
  for (const Opening& opening : openings) {
    if (!message.starts_with(opening.text)) continue;
    event.kind = opening.kind;
    event.name = withoutEnd(message.substr(opening.text.size()), ".");
    return true;
  }
  return false;
}

struct Subject {
  std::string_view tags;
  bool (*read)(std::string_view message, LogEvent& event);
};
constexpr Subject subjects[] = {
    {"class,load", readLoad}, {"class,init", readInitialization}, {"startuptime", readPhase},
    {"gc", readPause},        {"gc,phases", readPause},           {"cds", readArchive},
    {"aot", readArchive},
};

}  // namespace

std::string loggingOption(unsigned release, const std::filesystem::path& file) {
  constexpr std::string_view always =
      "-Xlog:class+load=info,class+init=info,startuptime=info,gc=info,gc+phases=info,cds=info";
  return concat({always, release >= firstWithAotTag ? ",aot=info" : "", ":file=\"", file.native(),
                 "\":tn,un,ti,l,tg:filecount=0"});
}

JvmLog parseJvmLog(std::string_view text) {
  JvmLog log;
  std::string aboutArchives;
  for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
    const std::string_view whole = text.substr(0, end);
    text.remove_prefix(end + 1);
    const auto line = lineOf(whole);
    if (!line) continue;
    if (log.begin == nanoseconds()) log.begin = line->time - line->uptime;
    if (line->tags.starts_with("cds") || line->tags.starts_with("aot"))
      aboutArchives.append(whole).append("\n");
    const auto* const subject =
        std::find_if(std::begin(subjects), std::end(subjects),
                     [&](const Subject& known) { return known.tags == line->tags; });
    LogEvent event = {};
    if (subject == std::end(subjects) || !subject->read(line->message, event)) continue;
    event.time = line->time;
    event.thread = line->thread;
    log.events.push_back(std::move(event));
  }
  log.complaint = complaintInLog(aboutArchives);
  return log;
}
