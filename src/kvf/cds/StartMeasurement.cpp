#include "kvf/cds/StartMeasurement.h"

#include <algorithm>
#include <cstring>

#include "kvf/text/Columns.h"
#include "kvf/text/Text.h"

namespace {

/// A smaller gain is not worth a file that has to be kept up to date.
constexpr double leastGain = 0.97;

struct Sample {
  double seconds, processorSeconds;
};

double secondsOf(std::chrono::nanoseconds time) {
  return std::chrono::duration<double>(time).count();
}

/// The quantile, interpolated between its two neighbours.
double quantile(const std::vector<double>& sorted, double part) {
  const double place = part * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(place);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  return sorted[below] + (place - static_cast<double>(below)) * (sorted[above] - sorted[below]);
}

std::string milliseconds(double seconds) {
  return formatted("%.0f ms", seconds * 1e3);
}

std::string spread(const Quartiles& quartiles, const char* format) {
  return concat({formatted(format, quartiles.low), " to ", formatted(format, quartiles.high)});
}

}  // namespace

Quartiles quartilesOf(std::vector<double> numbers) {
  std::sort(numbers.begin(), numbers.end());
  return {quantile(numbers, 0.25), quantile(numbers, 0.5), quantile(numbers, 0.75)};
}

std::string failureOf(const ProgramRun& run, const ProgramEnd& end, int status) {
  if (end.error != 0)
    return concat({run.arguments[0], " cannot be started: ", std::strerror(end.error)});
  if (end.killed) return "the application did not end";
  if (!run.until.empty())
    return end.reached ? std::string() : "the application ended without printing the text";
  if (end.stopped) return "the application did not end by itself";
  if (end.status == status) return {};
  return "the application ended with status " + std::to_string(end.status);
}

bool StartTimes::gains() const {
  return failure.empty() && ratio.median <= leastGain && ratio.high < 1;
}

std::vector<StartTimes> measureStarts(const std::vector<StartVariant>& variants, unsigned pairs,
                                      const std::function<void(unsigned)>& progress) {
  std::vector<std::vector<Sample>> samples(variants.size());
  std::vector<StartTimes> times(variants.size());
  // The other starts have to end like the first one.
  int status = 0;
  for (unsigned round = 0; round <= pairs; ++round) {
    progress(round);
    for (std::size_t turn = 0; turn < variants.size(); ++turn) {
      const std::size_t i = round % 2 == 0 ? turn : variants.size() - 1 - turn;
      if (!times[i].failure.empty()) continue;
      const ProgramEnd end = runProgram(variants[i].run);
      if (round == 0 && i == 0) status = end.status;
      times[i].failure = failureOf(variants[i].run, end, status);
      if (round > 0) samples[i].push_back({secondsOf(end.time), secondsOf(end.processorTime)});
    }
  }
  for (std::size_t i = 0; i < variants.size(); ++i) {
    if (!times[i].failure.empty() || !times[0].failure.empty() || samples[i].empty()) continue;
    std::vector<double> seconds;
    std::vector<double> processor;
    std::vector<double> ratios;
    for (std::size_t pair = 0; pair < samples[i].size(); ++pair) {
      seconds.push_back(samples[i][pair].seconds);
      processor.push_back(samples[i][pair].processorSeconds);
      ratios.push_back(samples[i][pair].seconds / samples[0][pair].seconds);
    }
    times[i].seconds = quartilesOf(seconds);
    times[i].ratio = quartilesOf(ratios);
    times[i].processorSeconds = quartilesOf(processor).median;
  }
  return times;
}

std::string tableOf(const std::vector<StartVariant>& variants,
                    const std::vector<StartTimes>& times) {
  std::size_t width = 0;
  for (const StartVariant& variant : variants) width = std::max(width, variant.name.size());
  std::string text = concat(
      {std::string(width, ' '), "      start   ratio      quartiles  processor     archive\n"});
  for (std::size_t i = 0; i < variants.size(); ++i) {
    text += variants[i].name + std::string(width - variants[i].name.size(), ' ');
    if (!times[i].failure.empty()) {
      text += concat({"  ", times[i].failure, "\n"});
      continue;
    }
    const std::uintmax_t bytes = variants[i].archiveBytes;
    text += padded(milliseconds(times[i].seconds.median), 11) +
            padded(formatted("%.2f", times[i].ratio.median), 8) +
            padded(spread(times[i].ratio, "%.2f"), 15) +
            padded(milliseconds(times[i].processorSeconds), 11);
    if (bytes > 0) text += padded(std::to_string(bytes / 1024) + " KiB", 12);
    text += '\n';
  }
  return text;
}
