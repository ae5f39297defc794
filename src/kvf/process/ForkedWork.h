#ifndef VELOX_KVF_PROCESS_FORKEDWORK_H
#define VELOX_KVF_PROCESS_FORKEDWORK_H

#include <functional>
#include <string>

#include "kvf/process/Descriptor.h"

/// Work in a copy of this process: what it changes, leaks or breaks is gone with the copy, and it
/// can be cancelled at any time. No program is started. REQUIRES: no other threads.
class ForkedWork {
 public:
  /// Begins at once; throws std::system_error where there can be no copy. The copy has no standard
  /// input and output, and ends with this process.
  explicit ForkedWork(const std::function<std::string()>& work);
  ForkedWork(const ForkedWork&) = delete;
  ForkedWork& operator=(const ForkedWork&) = delete;
  /// Cancels the work, if it is not done.
  ~ForkedWork();

  /// Can be read when take() has something to do.
  [[nodiscard]] int descriptor() const { return results_.number(); }
  /// Takes what has come; true once the work is done or has failed.
  bool take();
  /// The result of the work. REQUIRES: it is done.
  [[nodiscard]] const std::string& result() const { return result_; }
  /// Why there is no result, as a sentence without a full stop; empty: there is one.
  [[nodiscard]] const std::string& failure() const { return failure_; }

 private:
  void reap();

  Descriptor results_;
  int copy_ = -1;  ///< its process ID
  std::string result_;
  std::string failure_;
};

#endif
