#ifndef VELOX_TESTS_SUPPORT_SANDBOX_H
#define VELOX_TESTS_SUPPORT_SANDBOX_H

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "support/Child.h"
#include "support/Values.h"

/// How a program is started. Its environment holds what is given here on top of a minimal one.
struct Start {
  std::map<std::string, std::string> environment = {};
  std::string program = {};            ///< the file to execute, if it is not what argv[0] names
  bool asNobody = false;               ///< without root's rights, if the tests have them
  std::function<void()> inChild = {};  ///< called in the sandbox before the program
  /// In the namespaces of the tests, as one of its own hides the processes of an ordinary user.
  bool looksAtProcesses = false;
};

/// A directory for one test, removed at its end, and a place to run programs in. These have a /tmp
/// of their own where the system allows it: the log file there may be another's.
class Sandbox {
 public:
  Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;
  ~Sandbox();

  /// The path of a file in the sandbox, or of the sandbox itself.
  [[nodiscard]] std::string path(const std::string& name = {}) const;
  /// Writes a file, and its directories; returns its path.
  std::string write(const std::string& name, const std::string& text, bool executable = false);
  [[nodiscard]] std::string read(const std::string& name) const;
  /// The log file of the programs, as it is outside.
  [[nodiscard]] std::string logFile() const { return temporary_ / "wrap.log"; }
  /// False when /tmp is everybody's and the log file another user's: nothing can be logged.
  [[nodiscard]] bool canLog() const;

  /// Starts a program, the first argument, in the sandbox.
  [[nodiscard]] Child start(Texts arguments, const Start& start = {}) const;
  [[nodiscard]] Outcome run(const Texts& arguments, const Start& start = {}) const;
  /// Runs a function in the sandbox like a program; see inChild.
  [[nodiscard]] Outcome call(const std::function<void()>& action) const;

 private:
  void enter() const;

  std::filesystem::path base_;       ///< holds the two others
  std::filesystem::path root_;       ///< where programs run
  std::filesystem::path temporary_;  ///< what programs see as /tmp
};

#endif
