#ifndef VELOX_KVF_PROCESS_DESCRIPTOR_H
#define VELOX_KVF_PROCESS_DESCRIPTOR_H

#include <utility>

/// Owns a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor();

  [[nodiscard]] int number() const { return number_; }
  /// The number, which the caller has to close.
  int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

#endif
