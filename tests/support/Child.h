#ifndef VELOX_TESTS_SUPPORT_CHILD_H
#define VELOX_TESTS_SUPPORT_CHILD_H

#include <functional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <sys/types.h>

/// How a process ended and what it printed, on standard output and error alike. Compare the whole:
/// EXPECT_EQ(outcome, (Outcome{255, "text\n"})).
struct Outcome {
  int status = 0;  ///< exit status, or 128 and the number of the signal that ended it
  std::string out;

  bool operator==(const Outcome&) const = default;
  /// For texts that are not ours to the last byte, such as a stack trace. A failed expectation
  /// shows the whole outcome.
  [[nodiscard]] testing::AssertionResult has(const std::string& text) const;
  /// Without a line of which two processes decide when it comes; as it is when the line is not
  /// there exactly once.
  [[nodiscard]] Outcome withoutLine(const std::string& line) const;
};

void PrintTo(const Outcome& outcome, std::ostream* out);

/// A forked child. It and what it has started end with it, with this object and with the test
/// program, and after a minute at the latest.
class Child {
 public:
  /// Runs the action in the child, which then ends with status 0. Throws when it cannot fork.
  explicit Child(const std::function<void()>& action);
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

  [[nodiscard]] pid_t id() const { return id_; }
  /// Waits until the child has printed the text; false when it ends without.
  bool prints(const std::string& text);
  /// Waits until the child ends.
  Outcome wait();

 private:
  /// Takes over what the child prints next; false when it has ended.
  bool read();

  pid_t id_ = -1;
  int handle_ = -1;  ///< tells that the child has ended
  int pipe_ = -1;
  std::string out_;
};

/// What the action prints and how it ends, in a child: for what ends the process or changes it.
Outcome inChild(const std::function<void()>& action);

#endif
