#ifndef VELOX_KVF_FORMATS_SHA256_H
#define VELOX_KVF_FORMATS_SHA256_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// SHA-256 (FIPS 180-4) of texts that come in pieces.
class Sha256 {
 public:
  void add(std::string_view bytes);
  /// 64 hexadecimal digits; nothing may be added after that.
  [[nodiscard]] std::string digest();

 private:
  void addBlock(const unsigned char* block);

  std::array<std::uint32_t, 8> state_ = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                         0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  std::array<unsigned char, 64> block_ = {};
  std::size_t inBlock_ = 0;
  std::uint64_t bytes_ = 0;
};

#endif
