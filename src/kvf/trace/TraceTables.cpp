#include <algorithm>

#include "kvf/text/Columns.h"
#include "kvf/text/Text.h"
#include "kvf/trace/TraceFormats.h"

namespace {

constexpr std::size_t nameWidth = 56;
constexpr std::size_t mostInitializers = 12;
constexpr std::size_t mostPauses = 12;
constexpr std::size_t mostFiles = 10;
/// Parts of the JVM's creation that take less are left out.
constexpr std::chrono::microseconds leastPhase(500);

/// A name of any length, and what belongs to it in columns.
std::string row(std::string_view name, const std::vector<std::string>& cells) {
  const std::string shown = printable(name);
  const std::size_t characters = charactersIn(shown);
  std::string text = shown + std::string(characters < nameWidth ? nameWidth - characters : 1, ' ');
  for (const std::string& cell : cells) text += padded(cell, 12);
  return text + "\n";
}

std::string stretchRows(const std::vector<TraceStretch>& stretches) {
  std::string text;
  for (const TraceStretch& stretch : stretches)
    text +=
        row("  " + stretch.name, {inMilliseconds(stretch.begin), inMilliseconds(stretch.duration)});
  return text;
}

std::string phaseTable(const StartTrace& trace) {
  std::string text = row("Phases", {"at", "took"}) + stretchRows(trace.phases);
  std::vector<TraceStretch> parts = trace.jvmPhases;
  std::erase_if(parts, [](const TraceStretch& part) { return part.duration < leastPhase; });
  if (parts.empty()) return text;
  return text + "\n" + row("Parts of the JVM's creation", {"at", "took"}) + stretchRows(parts);
}

std::string classTable(const StartTrace& trace) {
  std::string text = row("Classes loaded", {"number", "share"});
  const auto all = static_cast<double>(std::max<std::size_t>(trace.classes.size(), 1));
  for (const auto& [origin, count] : trace.origins()) {
    const OriginWords& words = originWords()[static_cast<std::size_t>(origin)];
    text +=
        row(concat({"  ", words.title}),
            {std::to_string(count), formatted("%.0f %%", 100 * static_cast<double>(count) / all)});
    const auto files = trace.filesOf(origin);
    for (std::size_t i = 0; i < std::min(mostFiles, files.size()); ++i)
      text += concat(
          {padded(std::to_string(files[i].second), 10), "  ", printable(files[i].first), "\n"});
    if (files.size() > mostFiles)
      text +=
          concat({padded("and", 10), "  ", countOf(files.size() - mostFiles, "more source"), "\n"});
  }
  text += row("  all", {std::to_string(trace.classes.size())});
  if (!trace.verifications.empty())
    text += row("  verified", {std::to_string(trace.verifications.size()),
                               inMilliseconds(trace.verificationTime())});
  return text;
}

std::string initializerTable(const StartTrace& trace) {
  const std::vector<TraceStretch> longest = trace.longestInitializers(mostInitializers);
  if (longest.empty()) return {};
  std::string text =
      row("From one class initialiser to the next, the longest", {"at", "took", "classes"});
  for (const TraceStretch& stretch : longest)
    text +=
        row("  " + stretch.name, {inMilliseconds(stretch.begin), inMilliseconds(stretch.duration),
                                  std::to_string(stretch.classes)});
  return "\n" + text;
}

std::string pauseTable(const StartTrace& trace) {
  if (trace.pauses.empty()) return "\nCollections: no pause\n";
  const std::size_t shownOnes = std::min(mostPauses, trace.pauses.size());
  TraceTime sum = {};
  for (const TraceStretch& pause : trace.pauses) sum += pause.duration;
  std::string text = "\n" + row("Pauses of collections", {"at", "took"});
  text += stretchRows(
      {trace.pauses.begin(), trace.pauses.begin() + static_cast<std::ptrdiff_t>(shownOnes)});
  return text + row(concat({"  ", countOf(trace.pauses.size(), "pause"), " in all"}),
                    {"", inMilliseconds(sum)});
}

}  // namespace

std::string inMilliseconds(TraceTime time) {
  return formatted("%.1f ms", std::chrono::duration<double, std::milli>(time).count());
}

std::string costText(const TraceCost& cost) {
  constexpr double perSecond = 1e3;
  const auto time = [](double seconds) { return formatted("%.0f ms", seconds * perSecond); };
  std::string ratio = formatted("%.2f", cost.ratio.median);
  if (cost.pairs > 1)
    ratio += concat(
        {", ", formatted("%.2f", cost.ratio.low), " to ", formatted("%.2f", cost.ratio.high)});
  return concat({"With the trace ", time(cost.with), ", without ", time(cost.without), " (ratio ",
                 ratio, ", ", countOf(cost.pairs, "pair"), "); processor time of the whole run ",
                 time(cost.processorWith), " and ", time(cost.processorWithout)});
}

std::string traceTables(const StartTrace& trace) {
  std::string text = concat({printable(trace.subject), ": ", inMilliseconds(trace.end), " until ",
                             printable(trace.mark), "\n\n"});
  text += phaseTable(trace) + "\n" + classTable(trace) + initializerTable(trace) +
          pauseTable(trace) + "\n";
  for (const std::string& remark : trace.remarks) text += printable(remark) + "\n";
  if (!trace.complaint.empty())
    text += concat({"The JVM says of an archive: ", printable(trace.complaint), "\n"});
  if (trace.cost) text += costText(*trace.cost) + "\n";
  return text;
}
