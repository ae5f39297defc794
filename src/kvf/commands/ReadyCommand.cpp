#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/process/Interruption.h"
#include "kvf/process/ListeningSockets.h"
#include "kvf/process/Processes.h"
#include "kvf/text/Text.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds shortestPause(50);
constexpr std::chrono::milliseconds longestPause(1000);
/// Tables of many connections take long to read: they may take at most a tenth of the time.
constexpr int pausesPerLook = 9;
/// A service manager gives a new process its user only after a while.
constexpr std::chrono::seconds timeToBecomeVisible(5);

struct ReadyQuestion {
  int process = 0;
  std::vector<std::string> tcp;
  std::vector<std::string> local;
  unsigned timeout = 60;
};

/// What can be seen of a process at one time.
struct Look {
  std::vector<ListeningPlace> missing;    ///< the wanted places where it does not listen
  std::vector<ListeningPlace> elsewhere;  ///< where it listens, when something is missing
  bool others = false;                    ///< another process listens at one that is missing
  int error = 0;                          ///< why nothing can be seen, errno's number
};

class Waiting {
 public:
  Waiting(const ReadyQuestion& question, std::vector<ListeningPlace> places)
      : id_(question.process), timeout_(question.timeout), places_(std::move(places)) {}

  int run() {
    const auto process = processWith(id_);
    if (!process) return refuseToStart();
    const auto start = Clock::now();
    const auto end = start + timeout_;
    auto seenAt = start;
    for (;;) {
      InterruptionWatch::look();
      const auto begin = Clock::now();
      const bool isOver = begin >= end;
      Look look = lookAt({id_});
      // All processes are looked at only when it matters: a child may listen there.
      if (look.others || (isOver && look.error == 0)) look = lookAt(familyOf(id_, processes()));
      if (look.error == 0 && look.missing.empty()) return success;
      const auto now = processWith(id_);
      if (!now || now->ended || now->started != process->started)
        return deny("has ended without listening on " + names(places_));
      if (look.error == 0) seenAt = begin;
      if (look.error != 0 && (isOver || begin - seenAt >= timeToBecomeVisible))
        return refuse(look.error);
      if (isOver) return denyAfterTime(look);
      const auto pause = std::clamp<Clock::duration>(pausesPerLook * (Clock::now() - begin),
                                                     shortestPause, longestPause);
      std::this_thread::sleep_for(std::min<Clock::duration>(pause, end - Clock::now()));
    }
  }

 private:
  /// REQUIRES: the process is the first of the family.
  [[nodiscard]] Look lookAt(const std::vector<int>& family) const {
    Look look;
    OpenSockets open = openSocketsOf(family.front());
    if (open.error != 0) {
      const bool isGone = open.error == ENOENT || open.error == ESRCH;
      look.error = isGone ? 0 : open.error;
      look.missing = places_;
      return look;
    }
    std::for_each(family.begin() + 1, family.end(),
                  [&](int member) { open.numbers.merge(openSocketsOf(member).numbers); });

    const std::vector<ListeningSocket> listening = listeningSockets(id_);
    std::set<std::size_t> served, servedByOthers;
    for (const ListeningSocket& socket : listening) {
      const bool isOwn = open.numbers.contains(socket.number);
      if (isOwn) look.elsewhere.push_back(socket.place);
      for (std::size_t place = 0; place < places_.size(); ++place) {
        if (!serves(socket, places_[place], id_)) continue;
        (isOwn ? served : servedByOthers).insert(place);
      }
    }
    for (std::size_t place = 0; place < places_.size(); ++place) {
      if (served.contains(place)) continue;
      look.missing.push_back(places_[place]);
      look.others = look.others || servedByOthers.contains(place);
    }
    return look;
  }

  /// For a person: a name that a process chose for a socket is shown as text.
  static std::string names(const std::vector<ListeningPlace>& places) {
    constexpr std::size_t most = 5;
    std::set<std::string> sorted;
    for (const ListeningPlace& place : places) sorted.insert(printable(nameOf(place)));
    std::string text;
    std::size_t count = 0;
    for (const std::string& name : sorted) {
      if (count++ == most) return text + " and more";
      text += (text.empty() ? "" : ", ") + name;
    }
    return text;
  }

  int deny(const std::string& text) const {
    complain(concat({"process ", std::to_string(id_), " ", text}));
    return negative;
  }

  int denyAfterTime(const Look& look) const {
    std::string text = "does not listen on " + names(look.missing);
    if (timeout_.count() > 0) text += " after " + std::to_string(timeout_.count()) + " s";
    if (look.others) text += "; another process does";
    text += look.elsewhere.empty() ? "; it listens nowhere"
                                   : "; it listens on " + names(look.elsewhere);
    return deny(text);
  }

  int refuseToStart() const {
    if (isRunning(id_)) return refuse(EACCES);
    complain(concat({"there is no process ", std::to_string(id_)}));
    return negative;
  }

  int refuse(int error) const {
    return complain(concat({"cannot see what process ", std::to_string(id_),
                            " has open: ", std::generic_category().message(error),
                            "; ask as its user or as root, in a unit by ExecStartPost=+"}));
  }

  int id_;
  std::chrono::seconds timeout_;
  std::vector<ListeningPlace> places_;
};

int answer(const ReadyQuestion& question) {
  std::vector<ListeningPlace> places;
  for (const std::string& text : question.tcp) {
    const auto place = tcpPlace(text);
    if (!place)
      return complain(
          concat({shown(text),
                  " is not a TCP port; give one such as 8080, 127.0.0.1:8080 or [::1]:8080"}));
    places.emplace_back(*place);
  }
  for (const std::string& name : question.local) {
    if (name == "@") return complain("--unix needs the file of a socket, or @NAME");
    places.emplace_back(LocalPlace{name});
  }
  if (places.empty()) return complain("give --tcp or --unix: what to wait for");
  const InterruptionWatch interruptions;
  return Waiting(question, std::move(places)).run();
}

}  // namespace

RunSubcommand declareReady(CLI::App& command) {
  const auto question = std::make_shared<ReadyQuestion>();
  command.add_option("--pid", question->process, "The process")
      ->required()
      ->type_name("PID")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()));
  command.add_option("--tcp", question->tcp, "Wait for this TCP port, or ADDRESS:PORT")
      ->type_name("PORT")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command.add_option("--unix", question->local, "Wait for this Unix socket")
      ->type_name("PATH")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command.add_option("--timeout", question->timeout, "Wait at most this many seconds (60)")
      ->type_name("SECONDS");
  return [question](const LauncherArguments& /*arguments*/) { return answer(*question); };
}
