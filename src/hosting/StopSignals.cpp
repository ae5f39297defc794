#include "hosting/StopSignals.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <semaphore.h>
#include <unistd.h>

#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"

namespace {

struct StopSignal {
  std::string_view name;
  int number;
  bool isForJava;  ///< a JVM needs the other ones itself
};

constexpr StopSignal knownSignals[] = {
    {"TERM", SIGTERM, true}, {"INT", SIGINT, true},   {"HUP", SIGHUP, true},
    {"QUIT", SIGQUIT, true}, {"USR1", SIGUSR1, true}, {"USR2", SIGUSR2, false},
};

bool isPossible(const StopSignal& signal, ApplicationKind kind) {
  return signal.isForJava || kind == ApplicationKind::native;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// What the signal handler uses.
std::atomic<bool> isRequested = false;
std::atomic<int> requestedBy = 0;
std::array<struct sigaction, NSIG> formerActions;
sem_t request;

void takeSignal(int signal);

/// Lets the signal act as if it had never been taken. Safe in a signal handler.
void giveBack(int signal) {
  const struct sigaction& former = formerActions[static_cast<std::size_t>(signal)];
  struct sigaction current = {};
  ::sigaction(signal, nullptr, &current);
  // The application may have an action of its own by now.
  if (current.sa_handler == takeSignal) {
    ::sigaction(signal, &former, nullptr);
    // The first process of a system or container has no default actions.
    if (former.sa_handler == SIG_DFL && ::getpid() == 1) ::_exit(128 + signal);
  }
  ::kill(::getpid(), signal);
}

void takeSignal(int signal) {
  const int error = errno;
  if (isRequested.exchange(true)) {
    giveBack(signal);
  } else {
    requestedBy = signal;
    ::sem_post(&request);
  }
  errno = error;
}

void waitForRequest() {
  while (::sem_wait(&request) != 0 && errno == EINTR) {
  }
}

}  // namespace

StopSignalNames StopSignalNames::parse(std::string_view text, ApplicationKind kind) {
  StopSignalNames names;
  if (trimmed(text).empty()) return names;
  for (;;) {
    const std::size_t comma = text.find(',');
    const std::string_view written = trimmed(text.substr(0, comma));
    const std::string_view name = written.substr(written.starts_with("SIG") ? 3 : 0);
    const auto* const known =
        std::find_if(std::begin(knownSignals), std::end(knownSignals),
                     [&](const StopSignal& signal) { return signal.name == name; });
    if (known == std::end(knownSignals) || !isPossible(*known, kind)) {
      names.unusable = written.empty() ? std::string_view(",") : written;
      return names;
    }
    names.signals.push_back(known->number);
    if (comma == std::string_view::npos) return names;
    text.remove_prefix(comma + 1);
  }
}

std::string StopSignalNames::possible(ApplicationKind kind) {
  std::string list;
  for (const StopSignal& signal : knownSignals) {
    if (!isPossible(signal, kind)) continue;
    if (!list.empty()) list += ", ";
    list += signal.name;
  }
  return list;
}

/// Waits for the request and calls the stop function. Shared by its thread and the owner, who does
/// not wait for a call that never ends.
class StopSignals::Caller {
 public:
  explicit Caller(Stop stop) : stop_(std::move(stop)) {}

  void run() {
    waitForRequest();
    const std::lock_guard<std::mutex> calling(calling_);
    if (!ended_ && !stop_()) giveBack(requestedBy);
  }

  /// No call begins any more.
  void end() {
    ended_ = true;
    ::sem_post(&request);
  }

  void waitForCall() { const std::lock_guard<std::mutex> calling(calling_); }

 private:
  Stop stop_;
  std::mutex calling_;
  std::atomic<bool> ended_ = false;
};

StopSignals::StopSignals(const SimpleProperties& properties, ApplicationKind kind) {
  // An adjuster is not the application.
  if (properties.valueOf(keys::adjustInvoke) == "true") return;
  const WString value = properties.valueOf(keys::stopSignals);
  StopSignalNames names = StopSignalNames::parse(value.view(), kind);
  if (!names.unusable.empty()) {
    Logging::FatalError({keys::stopSignals, " : ", names.unusable, " is none of ",
                         StopSignalNames::possible(kind)});
  }
  signals_ = std::move(names.signals);
}

StopSignals::~StopSignals() {
  end();
}

void StopSignals::begin(Stop stop) {
  if (signals_.empty()) return;
  ::sem_init(&request, 0, 0);
  isRequested = false;
  caller_ = std::make_shared<Caller>(std::move(stop));
  try {
    std::thread([caller = caller_] { caller->run(); }).detach();
  } catch (const std::system_error& error) {
    Logging::FatalError(
        {"Failed to start the thread for ", keys::stopSignals, " : ", error.what()});
  }

  struct sigaction action = {};
  action.sa_handler = takeSignal;
  action.sa_flags = SA_RESTART;
  for (const int signal : signals_) {
    struct sigaction& former = formerActions[static_cast<std::size_t>(signal)];
    ::sigaction(signal, nullptr, &former);
    const bool isWithoutTerminal = signal == SIGHUP && former.sa_handler == SIG_IGN;
    if (!isWithoutTerminal) ::sigaction(signal, &action, nullptr);
  }
}

void StopSignals::waitForStop() {
  if (!caller_) return;
  // A signal during the wait ends a stop function that hangs.
  isRequested = true;
  caller_->end();
  caller_->waitForCall();
  end();
}

void StopSignals::end() {
  if (!caller_) return;
  for (const int signal : signals_) {
    struct sigaction current = {};
    ::sigaction(signal, nullptr, &current);
    if (current.sa_handler != takeSignal) continue;
    ::sigaction(signal, &formerActions[static_cast<std::size_t>(signal)], nullptr);
  }
  caller_->end();
}
