#include "kvf/launch/JvmTrial.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <optional>
#include <sstream>

#include "kvf/launch/JvmTrialRun.h"
#include "kvf/launch/TrialOptions.h"
#include "kvf/process/TemporaryFolder.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::size_t maxComplaints = 20;

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(std::move(line));
  return lines;
}

/// The line without the time and the tags of a JVM's log in front of it.
std::string withoutDecorations(std::string_view line) {
  while (line.starts_with('[') && line.find(']') != std::string_view::npos) {
    line.remove_prefix(line.find(']') + 1);
  }
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  return std::string(line);
}

/// The line without addresses, which differ from start to start.
std::string comparable(std::string_view line) {
  std::string text = withoutDecorations(line);
  for (std::size_t at = 0; (at = text.find("0x", at)) != std::string::npos; at += 2) {
    const std::size_t end =
        std::min(text.find_first_not_of("0123456789abcdef", at + 2), text.size());
    text.erase(at + 2, end - at - 2);
  }
  return text;
}

bool isOfLog(std::string_view line) {
  return line.starts_with('[') && line.find("[error") == std::string_view::npos &&
         line.find("[warning") == std::string_view::npos;
}

struct Notice {
  std::string_view words;
  JvmComplaint::Kind kind;
};

/// What a JVM that starts says about options; of two that match the first one counts.
constexpr Notice notices[] = {
    {"gnoring option", JvmComplaint::Kind::ignored},
    {"support was removed", JvmComplaint::Kind::ignored},
    {"WARNING: Unknown module: ", JvmComplaint::Kind::ignored},
    {"WARNING: package ", JvmComplaint::Kind::ignored},
    {"obsolete and no longer supported", JvmComplaint::Kind::ignored},
    {"No tag set matches selection", JvmComplaint::Kind::ignored},
    {"while processing the AOT cache", JvmComplaint::Kind::ignored},
    {"while processing the shared archive file", JvmComplaint::Kind::ignored},
    {"Not a valid shared archive file", JvmComplaint::Kind::ignored},
    {"deprecated in", JvmComplaint::Kind::deprecated},
    {"is deprecated", JvmComplaint::Kind::deprecated},
};

std::optional<JvmComplaint::Kind> noticeIn(std::string_view line) {
  for (const Notice& notice : notices) {
    if (line.find(notice.words) != std::string_view::npos) return notice.kind;
  }
  return std::nullopt;
}

/// Why a JVM did not start: what it said first or, if that is only a heading, what follows.
std::string reasonIn(const std::string& text) {
  std::string reason;
  for (const std::string& line : linesOf(text)) {
    if (line.empty() || line.starts_with("Picked up ") || isOfLog(line)) continue;
    if (noticeIn(line)) continue;
    reason += comparable(line);
    if (!line.starts_with("Error occurred during initialization")) break;
    reason += ": ";
  }
  return reason;
}

/// How many words of the option are in the text.
std::size_t likeness(const std::string& option, std::string_view text) {
  std::size_t count = 0;
  const auto isOfWord = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_' || c == '-';
  };
  for (std::size_t at = 0; at < option.size();) {
    std::size_t end = at;
    while (end < option.size() && isOfWord(option[end])) ++end;
    const std::string_view word = std::string_view(option).substr(at, end - at);
    if (word.size() > 2 && text.find(word) != std::string_view::npos) ++count;
    at = end + 1;
  }
  return count;
}

class Trial {
 public:
  Trial(const JvmStart& start, const std::string& scratchFolder) {
    TrialOptions trial = trialOptions(start.options, scratchFolder);
    options_ = std::move(trial.options);
    result_.leftOut = std::move(trial.leftOut);
    run_.library = start.library;
    run_.environment = start.environment;
    run_.directory = start.directory;
    for (std::string& variable : leaveOutVariables(run_.environment))
      result_.leftOut.push_back(std::move(variable));
    // Agents and class loaders may bring the class, or change it.
    if (result_.leftOut.empty()) startClass_ = start.startClass;
    // One file for each start: up to Java 11 an existing one is left alone, and another is written
    // elsewhere.
    own_ = {"-XX:-UsePerfData", concat({"-XX:ErrorFile=", scratchFolder, "/error%p"})};
  }

  JvmTrial result() {
    while (result_.complaints.size() < maxComplaints) {
      const JvmRunEnd end = runWithout(options_.end());
      if (end.started) {
        result_.classFailure = end.classFailure;
        takeNotices(end.text);
        break;
      }
      if (!takeUnknown(end.text) && !takeRefused(end)) break;
    }
    return std::move(result_);
  }

 private:
  using Place = std::vector<TriedOption>::iterator;

  JvmRunEnd runWithout(Place left) {
    run_.startClass = left == options_.end() ? startClass_ : std::string();
    run_.options.clear();
    for (auto option = options_.begin(); option != options_.end(); ++option) {
      if (option != left) run_.options.push_back(option->tried);
    }
    run_.options.insert(run_.options.end(), own_.begin(), own_.end());
    return runJvm(run_);
  }

  /// Leaves the option that the JVM says it does not know out of the next start.
  bool takeUnknown(const std::string& text) {
    constexpr std::string_view optionMark = "Unrecognized option: ";
    constexpr std::string_view flagMark = "Unrecognized VM option '";
    for (const std::string& line : linesOf(text)) {
      std::string option;
      if (line.starts_with(optionMark)) option = line.substr(optionMark.size());
      if (line.starts_with(flagMark)) {
        option = line.substr(flagMark.size(), line.rfind('\'') - flagMark.size());
      }
      if (option.empty()) continue;
      const auto isIt = [&](const std::string& tried) {
        return tried == option || tried == "-XX:" + option || tried == "-XX:+" + option ||
               tried == "-XX:-" + option;
      };
      if (const auto own = std::find_if(own_.begin(), own_.end(), isIt); own != own_.end()) {
        own_.erase(own);
        return true;
      }
      const auto found =
          std::find_if(options_.begin(), options_.end(),
                       [&](const TriedOption& candidate) { return isIt(candidate.tried); });
      if (found == options_.end()) return false;
      result_.complaints.push_back({JvmComplaint::Kind::unknown, found->option, line});
      options_.erase(found);
      return true;
    }
    return false;
  }

  /// Finds the option without which the JVM does not say so any more, likely ones first; of two
  /// that do not go together the last one. The end of the list: there is none.
  template <class Says>
  Place culprit(std::string_view text, Says&& saysSo) {
    std::vector<Place> candidates;
    for (auto option = options_.end(); option != options_.begin();) candidates.push_back(--option);
    std::stable_sort(candidates.begin(), candidates.end(), [&](Place a, Place b) {
      return likeness(a->tried, text) > likeness(b->tried, text);
    });
    const auto found = std::find_if(candidates.begin(), candidates.end(), [&](Place candidate) {
      return !saysSo(runWithout(candidate));
    });
    return found == candidates.end() ? options_.end() : *found;
  }

  /// The option with which the JVM begins to say so, when more than two do not go together. The end
  /// of the list: it says so without options.
  template <class Says>
  Place beginner(Says&& saysSo) {
    std::vector<TriedOption> all;
    all.swap(options_);
    std::size_t count = 0;
    bool says = saysSo(runWithout(options_.end()));
    while (!says && count < all.size()) {
      options_.push_back(all[count++]);
      says = saysSo(runWithout(options_.end()));
    }
    options_.swap(all);
    return count == 0 || !says ? options_.end()
                               : options_.begin() + static_cast<std::ptrdiff_t>(count) - 1;
  }

  bool takeRefused(const JvmRunEnd& end) {
    const std::string reason = end.timedOut ? "it did not start in time" : reasonIn(end.text);
    const auto saysSo = [&](const JvmRunEnd& other) {
      return !other.started && reasonIn(other.text) == reason;
    };
    auto found = options_.end();
    if (!end.timedOut) found = culprit(end.text, saysSo);
    if (!end.timedOut && found == options_.end()) found = beginner(saysSo);
    const bool isKnown = found != options_.end();
    result_.complaints.push_back(
        {JvmComplaint::Kind::refused, isKnown ? found->option : std::string(), asWritten(reason)});
    if (isKnown) options_.erase(found);
    return isKnown;
  }

  /// With the names of the launch's logs instead of the trial's.
  [[nodiscard]] std::string asWritten(std::string text) const {
    for (const TriedOption& option : options_) {
      if (option.other.empty()) continue;
      for (std::size_t at = 0; (at = text.find(option.other, at)) != std::string::npos;
           at += option.file.size()) {
        text.replace(at, option.other.size(), option.file);
      }
    }
    return text;
  }

  void takeNotices(const std::string& text) {
    for (const std::string& line : linesOf(text)) {
      const auto kind = noticeIn(line);
      if (!kind || result_.complaints.size() == maxComplaints) continue;
      const std::string notice = comparable(line);
      const auto found = culprit(line, [&](const JvmRunEnd& other) {
        const std::vector<std::string> lines = linesOf(other.text);
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& one) { return comparable(one) == notice; });
      });
      const std::string option = found == options_.end() ? std::string() : found->option;
      const auto isOfIt = [&](const JvmComplaint& known) {
        return !option.empty() && known.option == option;
      };
      if (std::none_of(result_.complaints.begin(), result_.complaints.end(), isOfIt)) {
        result_.complaints.push_back({*kind, option, asWritten(notice)});
      }
    }
  }

  JvmRun run_;
  std::string startClass_;
  std::vector<TriedOption> options_;
  std::vector<std::string> own_;  ///< of the trial
  JvmTrial result_;
};

}  // namespace

JvmTrial tryJvm(const JvmStart& start) {
  const TemporaryFolder scratch;
  return Trial(start, scratch.path().native()).result();
}
