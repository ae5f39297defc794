#ifndef VELOX_TESTS_SUPPORT_RUN_H
#define VELOX_TESTS_SUPPORT_RUN_H

#include <filesystem>
#include <functional>
#include <map>
#include <ostream>
#include <string>

/// How a process ended and what it printed; standard error is part of the output.
struct Outcome {
  int status = 0;  ///< exit status, or 128 + the signal's number
  std::string out;

  bool operator==(const Outcome&) const = default;
  [[nodiscard]] bool has(const std::string& text) const {
    return out.find(text) != std::string::npos;
  }
  friend std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
    return stream << outcome.status << ": " << outcome.out;
  }
};

using Environment = std::map<std::string, std::string>;

/// A directory of its own for a test; removed at the end.
class Sandbox {
 public:
  Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;
  ~Sandbox();

  [[nodiscard]] std::string path(const std::string& name = {}) const;
  /// Writes a file (and its directories); the returned path is absolute.
  std::string write(const std::string& name, const std::string& text, bool executable = false);
  [[nodiscard]] std::string read(const std::string& name) const;

  /// How a program is started. The environment holds what is given here on top of a minimal one.
  struct Start {
    Environment environment = {};
    std::string program = {};            ///< the file to execute, if it is not what argv[0] names
    bool asNobody = false;               ///< without root's rights
    std::function<void()> inChild = {};  ///< called in the sandbox before the program
  };
  /// Runs a program; its arguments are in one text, see split().
  [[nodiscard]] Outcome run(const std::string& line, const Start& start) const;
  [[nodiscard]] Outcome run(const std::string& line) const { return run(line, Start()); }
  /// Starts a program without waiting; its output goes to the file.
  [[nodiscard]] pid_t start(const std::string& line, const Start& start,
                            const std::string& output) const;

 private:
  std::filesystem::path root_;
};

/// Runs the function in a forked child; what it prints and how it ends.
Outcome inChild(const std::function<void()>& action);

/// Waits for a child; the status as in Outcome.
int waitFor(pid_t child);

#endif
