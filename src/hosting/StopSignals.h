#ifndef VELOX_HOSTING_STOPSIGNALS_H
#define VELOX_HOSTING_STOPSIGNALS_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Properties.h"

enum class ApplicationKind { java, native };

/// What a value of application.stop.signals says.
struct StopSignalNames {
  std::vector<int> signals;
  std::string_view unusable;  ///< the first name that cannot be used; empty when all can

  /// Reads names such as "TERM, SIGINT". An empty text names none.
  static StopSignalNames parse(std::string_view text, ApplicationKind kind);
  /// The names that can be used, for a message.
  static std::string possible(ApplicationKind kind);
};

/// Makes the first of some signals call the application's stop function, on a thread of its own.
/// What comes after it goes where it would have gone without this, and so does the first one when
/// the function fails. HUP stays ignored where it is.
///
/// REQUIRES: one at a time.
class StopSignals {
 public:
  /// Stops the application; false when it could not.
  using Stop = std::function<bool()>;

  /// Takes the signals from application.stop.signals; a name that cannot be used ends the process.
  StopSignals(const SimpleProperties& properties, ApplicationKind kind);
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  /// The signals have their former actions again. A call of the function may still go on.
  ~StopSignals();

  /// Begins to act on the signals, if there are any. The function may be called until the end of
  /// waitForStop(), or else at any time. Ends the process when it cannot.
  void begin(Stop stop);
  /// Ends acting on the signals and waits for the end of a call.
  void waitForStop();

 private:
  class Caller;

  void end();

  std::vector<int> signals_;
  std::shared_ptr<Caller> caller_;
};

#endif
