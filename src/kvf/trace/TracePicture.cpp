#include "kvf/trace/TracePicture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "kvf/text/MarkupText.h"
#include "kvf/text/Text.h"
#include "kvf/trace/TraceFormats.h"

namespace {

constexpr double width = 1200, left = 150, right = 1180;
constexpr double barHeight = 22, gap = 26, chartHeight = 170;
constexpr double characterWidth = 6.6;
constexpr std::size_t bins = 200;
constexpr std::size_t mostInitializers = 12;
constexpr const char* phaseColours[] = {"#f4a259", "#3b6fb6", "#f4a259", "#6c757d"};

std::string number(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f", value);
  return text.data();
}

class Picture {
 public:
  explicit Picture(const StartTrace& trace)
      : trace_(trace), perNanosecond_((right - left) / static_cast<double>(longest(trace))) {}

  std::string text() {
    addPhases();
    addCreation();
    addClasses();
    addVerification();
    addInitializers();
    addPauses();
    const std::string height = number(y_ + gap);
    return concat({"<svg viewBox=\"0 0 ", number(width), " ", height,
                   "\" role=\"img\" aria-label=\"Where the time of the start went\">\n", axis(),
                   body_, "</svg>\n"});
  }

 private:
  static TraceTime::rep longest(const StartTrace& trace) {
    return std::max<TraceTime::rep>(trace.end.count(), 1);
  }

  [[nodiscard]] double x(TraceTime time) const {
    return std::clamp(left + static_cast<double>(time.count()) * perNanosecond_, left, right);
  }

  void rectangle(double from, double y, double w, double height, const char* colour,
                 const std::string& title) {
    body_ += concat({"<rect x=\"", number(from), "\" y=\"", number(y), "\" width=\"",
                     number(std::max(w, 0.6)), "\" height=\"", number(height), "\" fill=\"", colour,
                     "\"><title>", markupText(title), "</title></rect>\n"});
  }

  void write(double from, double y, const char* style, std::string_view text) {
    body_ += concat({"<text x=\"", number(from), "\" y=\"", number(y), "\" class=\"", style, "\">",
                     markupText(text), "</text>\n"});
  }

  void lane(const char* name) {
    y_ += gap;
    write(left - 10, y_ + 15, "lane", name);
  }

  /// A bar with its name in it, where that fits.
  void bar(const TraceStretch& stretch, const char* colour) {
    const double from = x(stretch.begin);
    const double to = x(stretch.end());
    const std::string words = concat({stretch.name, ", ", inMilliseconds(stretch.duration)});
    rectangle(from, y_, to - from, barHeight, colour, words);
    for (const std::string& text : {words, stretch.name}) {
      if (static_cast<double>(charactersIn(text)) * characterWidth > to - from - 6) continue;
      write(from + 4, y_ + 15, "inside", text);
      return;
    }
  }

  void addPhases() {
    lane("phases");
    for (std::size_t i = 0; i < trace_.phases.size(); ++i)
      bar(trace_.phases[i], phaseColours[i % std::size(phaseColours)]);
    y_ += barHeight;
  }

  void addCreation() {
    if (trace_.jvmPhases.empty()) return;
    lane("JVM's creation");
    std::vector<TraceStretch> parts = trace_.jvmPhases;
    // What lies within another one is to be seen.
    std::stable_sort(parts.begin(), parts.end(), [](const TraceStretch& a, const TraceStretch& b) {
      return a.duration > b.duration;
    });
    for (std::size_t i = 0; i < parts.size(); ++i)
      bar(parts[i], i % 2 == 0 ? "#7aa0d4" : "#9dbbe3");
    y_ += barHeight;
  }

  void addClasses() {
    lane("classes loaded");
    const std::size_t kinds = originWords().size();
    std::vector<std::vector<std::size_t>> counts(bins, std::vector<std::size_t>(kinds));
    std::size_t most = 1;
    for (const LoadedClass& loaded : trace_.classes) {
      std::vector<std::size_t>& bin = counts[binOf(loaded.time)];
      ++bin[static_cast<std::size_t>(loaded.origin)];
      std::size_t sum = 0;
      for (const std::size_t count : bin) sum += count;
      most = std::max(most, sum);
    }
    write(left - 10, y_ + 32, "note", concat({"most: ", std::to_string(most)}));
    write(left - 10, y_ + 48, "note", concat({"in ", inMilliseconds(trace_.end / bins)}));
    const double each = chartHeight / static_cast<double>(most);
    for (std::size_t i = 0; i < bins; ++i) {
      double top = y_ + chartHeight;
      for (std::size_t kind = 0; kind < kinds; ++kind) {
        if (counts[i][kind] == 0) continue;
        const double height = each * static_cast<double>(counts[i][kind]);
        top -= height;
        rectangle(binBegin(i), top, (right - left) / bins - 0.4, height, originWords()[kind].colour,
                  concat({std::to_string(counts[i][kind]), " from: ", originWords()[kind].title}));
      }
    }
    y_ += chartHeight + 6;
    addLegend();
  }

  void addLegend() {
    double at = left;
    for (const auto& [origin, count] : trace_.origins()) {
      const OriginWords& words = originWords()[static_cast<std::size_t>(origin)];
      const std::string text = concat({std::to_string(count), " ", words.title});
      rectangle(at, y_ + 4, 11, 11, words.colour, words.title);
      write(at + 16, y_ + 14, "legend", text);
      at += 36 + static_cast<double>(text.size()) * characterWidth;
    }
    y_ += 18;
  }

  /// How much of each moment a thread spent on it.
  void addVerification() {
    if (trace_.verifications.empty()) return;
    lane("verification");
    const double perBin = static_cast<double>(longest(trace_)) / bins;
    std::vector<double> shares(bins);
    for (const TraceStretch& stretch : trace_.verifications) {
      for (std::size_t bin = binOf(stretch.begin); bin <= binOf(stretch.end()); ++bin) {
        const double begin = perBin * static_cast<double>(bin);
        const double from = std::max(begin, static_cast<double>(stretch.begin.count()));
        const double to = std::min(begin + perBin, static_cast<double>(stretch.end().count()));
        shares[bin] += std::max(to - from, 0.0) / perBin;
      }
    }
    for (std::size_t i = 0; i < bins; ++i) {
      const double height = barHeight * std::min(shares[i], 1.0);
      if (height < 0.2) continue;
      rectangle(binBegin(i), y_ + barHeight - height, (right - left) / bins - 0.4, height,
                "#b5838d", concat({number(100 * shares[i]), " % of one thread"}));
    }
    y_ += barHeight;
  }

  void addInitializers() {
    const std::vector<TraceStretch> all = trace_.longestInitializers(mostInitializers);
    if (all.empty()) return;
    lane("initialisers");
    for (const TraceStretch& stretch : all) {
      const double from = x(stretch.begin);
      const double to = x(stretch.end());
      const std::string words = concat({stretch.name, ", ", inMilliseconds(stretch.duration)});
      rectangle(from, y_ + 3, to - from, 11, "#6d597a", words);
      const double needed = static_cast<double>(charactersIn(words)) * characterWidth;
      if (to + 5 + needed < right) {
        write(to + 5, y_ + 13, "legend", words);
      } else {
        write(from - 5, y_ + 13, "before", words);
      }
      y_ += 17;
    }
  }

  void addPauses() {
    lane("collections");
    for (const TraceStretch& pause : trace_.pauses) bar(pause, "#d00000");
    if (trace_.pauses.empty()) write(left + 4, y_ + 15, "legend", "no pause");
    y_ += barHeight;
  }

  /// Steps of 1, 2 or 5 and zeros, about ten of them.
  [[nodiscard]] std::string axis() {
    const double milliseconds = static_cast<double>(longest(trace_)) / 1e6;
    const double power = std::pow(10, std::floor(std::log10(milliseconds / 10)));
    double step = power;
    for (const double factor : {2.0, 5.0, 10.0}) {
      if (milliseconds / step > 12) step = power * factor;
    }
    std::string text;
    for (int i = 0; i * step <= milliseconds; ++i) {
      const std::string at = number(x(TraceTime(static_cast<TraceTime::rep>(i * step * 1e6))));
      std::array<char, 32> label{};
      std::snprintf(label.data(), label.size(), "%.4g ms", i * step);
      text += concat({R"(<line x1=")", at, R"(" x2=")", at, R"(" y1="18" y2=")", number(y_ + 6),
                      R"(" class="grid"/>)", "\n", R"(<text x=")", at, R"(" y="12" class="tick">)",
                      label.data(), "</text>\n"});
    }
    return text;
  }

  [[nodiscard]] std::size_t binOf(TraceTime time) const {
    const double part = static_cast<double>(time.count()) / static_cast<double>(longest(trace_));
    return static_cast<std::size_t>(std::clamp(part * bins, 0.0, bins - 1.0));
  }

  static double binBegin(std::size_t bin) {
    return left + static_cast<double>(bin) * (right - left) / bins;
  }

  const StartTrace& trace_;
  double perNanosecond_;
  double y_ = 0;
  std::string body_;
};

}  // namespace

std::string tracePicture(const StartTrace& trace) {
  return Picture(trace).text();
}
