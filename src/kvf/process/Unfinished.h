#ifndef VELOX_KVF_PROCESS_UNFINISHED_H
#define VELOX_KVF_PROCESS_UNFINISHED_H

#include <initializer_list>
#include <string>
#include <string_view>

/// Something that this process has begun outside of itself and that its owner, a derived class,
/// takes back unless it comes to its end: in its destructor, and in takeBack() where the process
/// ends without destructors.
class Unfinished {
 public:
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;
  /// REQUIRES: nothing takes memory from the end of the owner's destructor on.
  virtual ~Unfinished();

  /// Takes back all of it, the latest first. Takes no memory: its end may be the reason.
  static void takeAllBack() noexcept;

 protected:
  Unfinished() : next_(first_) { first_ = this; }

  // Ways to take back, without memory.
  /// Says a line on standard error, with "kvf: " in front.
  static void say(std::initializer_list<std::string_view> pieces) noexcept;
  /// Removes a file, or says that it cannot.
  static void removeFile(const std::string& file) noexcept;

 private:
  /// Takes no memory. While the owner is being made or destroyed there is nothing to do.
  virtual void takeBack() noexcept {}

  Unfinished* next_;  ///< in the list of all
  inline static Unfinished* first_ = nullptr;
};

#endif
