// MD5: 64 steps over each block of 64 bytes, four rounds of sixteen, and the digests of texts and
// files made with it.
#include "util/md5.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kvorlib/md5.h"
#include "platform/folder.h"
#include "platform/stdiofile.h"

namespace util {
namespace {

// The whole part of 2^32 |sin(i + 1)|.
constexpr std::uint32_t Sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

// By how many bits the four steps of each round rotate, in turn.
constexpr int Rotations[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// Which word of the block a step takes: the round's first one, and its stride from there.
constexpr unsigned FirstWord[4] = {0, 1, 5, 0};
constexpr unsigned Stride[4] = {1, 5, 3, 7};

std::uint32_t Mix(unsigned round, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  switch (round) {
    case 0:
      return (b & c) | (~b & d);
    case 1:
      return (b & d) | (c & ~d);
    case 2:
      return b ^ c ^ d;
    default:
      return c ^ (b | ~d);
  }
}

// Numbers are little-endian in the input and in the digest.
template <typename Number>
void PutLowFirst(Number number, std::uint8_t* out) {
  for (std::size_t i = 0; i < sizeof(Number); ++i)
    out[i] = static_cast<std::uint8_t>(number >> (8 * i));
}

std::uint32_t LowFirst(const std::uint8_t* bytes) {
  std::uint32_t word = 0;
  for (unsigned i = 0; i < 4; ++i) word |= std::uint32_t{bytes[i]} << (8 * i);
  return word;
}

}  // namespace

void Md5::Digest(const std::uint8_t* bytes) {
  std::uint32_t words[16];
  for (unsigned i = 0; i < 16; ++i) words[i] = LowFirst(bytes + 4UL * i);
  auto [a, b, c, d] = state;
  for (unsigned step = 0; step < 64; ++step) {
    const unsigned round = step / 16;
    const std::uint32_t word = words[(FirstWord[round] + Stride[round] * step) % 16];
    const std::uint32_t sum = a + Mix(round, b, c, d) + word + Sines[step];
    a = d;
    d = c;
    c = b;
    b += std::rotl(sum, Rotations[round][step % 4]);
  }
  state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
}

void Md5::Add(const void* bytes, std::size_t n) {
  const auto* from = static_cast<const std::uint8_t*>(bytes);
  while (n > 0) {
    const std::size_t waiting = bits / 8 % BlockSize;
    const std::size_t taken = std::min(n, BlockSize - waiting);
    std::copy_n(from, taken, block.begin() + waiting);
    bits += 8 * std::uint64_t{taken};
    from += taken;
    n -= taken;
    if (waiting + taken == BlockSize) Digest(block.data());
  }
}

// Behind the content come one set bit, zeros, and the length, which ends a block.
std::array<std::uint8_t, 16> Md5::Finish() {
  constexpr std::size_t lengthSize = 8;
  constexpr std::uint8_t padding[BlockSize] = {0x80};
  std::uint8_t length[lengthSize];
  PutLowFirst(bits, length);
  const std::size_t waiting = bits / 8 % BlockSize;
  Add(padding, 1 + (2 * BlockSize - lengthSize - 1 - waiting) % BlockSize);
  Add(length, lengthSize);
  std::array<std::uint8_t, 16> digest = {};
  for (std::size_t i = 0; i < state.size(); ++i) PutLowFirst(state[i], digest.data() + 4 * i);
  return digest;
}

}  // namespace util

namespace {

template <typename Character>
Character* Digits(util::Md5& md5) {
  constexpr char digits[] = "0123456789abcdef";
  const auto digest = md5.Finish();
  auto* const text =
      static_cast<Character*>(std::malloc((2 * digest.size() + 1) * sizeof(Character)));
  if (text == nullptr) return nullptr;
  Character* out = text;
  for (const std::uint8_t byte : digest) {
    *out++ = static_cast<Character>(digits[byte / 16]);
    *out++ = static_cast<Character>(digits[byte % 16]);
  }
  *out = 0;
  return text;
}

}  // namespace

char* MD5String(const char* text) {
  util::Md5 md5;
  md5.Add(text, std::strlen(text));
  return Digits<char>(md5);
}

char16_t* MD5Wstring(const char16_t* text) {
  util::Md5 md5;
  for (; *text != 0; ++text) {
    const std::uint8_t bytes[] = {static_cast<std::uint8_t>(*text & 0xFFU),
                                  static_cast<std::uint8_t>(*text >> 8U)};
    md5.Add(bytes, sizeof bytes);
  }
  return Digits<char16_t>(md5);
}

char* MD5File(const char* path) try {
  const platform::Stream file = platform::OpenStream(path, "rb");
  // A folder may be opened here and there, but is no file.
  bool isFolder = false;
  if (file == nullptr || (platform::IsFolder(path, isFolder) == 0 && isFolder)) return nullptr;
  util::Md5 md5;
  char chunk[1024];
  while (const std::size_t got = std::fread(chunk, 1, sizeof chunk, file.get()))
    md5.Add(chunk, got);
  return Digits<char>(md5);
} catch (...) {
  return nullptr;
}
