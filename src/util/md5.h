// The MD5 digest of bytes that come piece by piece.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace util {

class Md5 {
 public:
  void Add(const void* bytes, std::size_t n);
  // The digest; nothing may be added afterwards.
  std::array<std::uint8_t, 16> Finish();

 private:
  static constexpr std::size_t BlockSize = 64;

  void Digest(const std::uint8_t* bytes);

  std::array<std::uint32_t, 4> state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  std::uint64_t bits = 0;                          // added so far
  std::array<std::uint8_t, BlockSize> block = {};  // its first bits / 8 % 64 bytes wait for more
};

}  // namespace util
