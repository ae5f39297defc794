#ifndef VELOX_FOUNDATION_JHASH_H
#define VELOX_FOUNDATION_JHASH_H

#include <cstdint>

#include "foundation/WString.h"

/// Hashes of the key types that a JMap may have.
class JHash {
 public:
  [[nodiscard]] virtual unsigned int getHashIndex(const void* key) const {
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(key));
  }
  [[nodiscard]] virtual unsigned int getHashIndex(int key) const {
    return static_cast<unsigned int>(key);
  }
  [[nodiscard]] virtual unsigned int getHashIndex(long key) const {
    return static_cast<unsigned int>(key);
  }
  /// The ELF hash. Characters count as signed, so bytes above 127 subtract.
  [[nodiscard]] virtual unsigned int getHashIndex(const WString& key) const {
    unsigned int hash = 0;
    for (const char c : key.view()) {
      hash = hash * 16 + static_cast<unsigned int>(static_cast<signed char>(c));
      const unsigned int top = hash & 0xF0000000U;
      hash = (hash ^ (top >> 24U)) & ~top;
    }
    return hash;
  }

 protected:
  ~JHash() = default;
  JHash() = default;
  JHash(const JHash&) = default;
  JHash(JHash&&) = default;
  JHash& operator=(const JHash&) = default;
  JHash& operator=(JHash&&) = default;
};

#endif
