#ifndef VELOX_TESTS_SUPPORT_RUN_H
#define VELOX_TESTS_SUPPORT_RUN_H

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// How a process ended and what it printed; standard error is part of the output.
struct Outcome {
  int status = 0;  ///< exit status, or 128 + the signal's number
  std::string out;

  [[nodiscard]] bool has(const std::string& text) const {
    return out.find(text) != std::string::npos;
  }
};

using Arguments = std::vector<std::string>;
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
  [[nodiscard]] bool exists(const std::string& name) const;

  /// How a program is started. The environment holds what is given here on top of a minimal one.
  struct Start {
    Environment environment = {};
    std::string directory = {};  ///< instead of the sandbox
    std::string program = {};    ///< the file to execute, if it is not what argv[0] names
    bool asNobody = false;       ///< without root's rights
    std::function<void()> inChild = {};
  };
  [[nodiscard]] Outcome run(const Arguments& argv, const Start& start) const;
  [[nodiscard]] Outcome run(const Arguments& argv) const { return run(argv, Start()); }
  /// Starts a program without waiting; its output goes to the file.
  [[nodiscard]] pid_t start(const Arguments& argv, const Start& start,
                            const std::string& output) const;

 private:
  std::filesystem::path root_;
};

/// Runs the function in a forked child; what it prints and how it ends.
Outcome inChild(const std::function<void()>& action);

/// Waits for a child; the status as in Outcome.
int waitFor(pid_t child);

/// Waits up to some seconds for the condition.
bool eventually(const std::function<bool()>& condition);

#endif
