// Sums of bytes, sixteen at a time where every processor of the kind has instructions for that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace platform {

// What CopyAndSum reads and writes at once.
inline constexpr std::size_t SumStride = 64;
constexpr std::size_t UpToStride(std::size_t n) { return (n + SumStride - 1) & ~(SumStride - 1); }

#if defined(__SSE2__)

namespace bytesums {

inline __m128i Load(const std::uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline std::uint32_t Both(__m128i sums) {
  return static_cast<std::uint32_t>(_mm_cvtsi128_si32(sums) +
                                    _mm_cvtsi128_si32(_mm_unpackhi_epi64(sums, sums)));
}
// Ones in the first n bytes. REQUIRES: n < 128.
inline __m128i First(int n, int from) {
  const __m128i places = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  return _mm_cmpgt_epi8(_mm_set1_epi8(static_cast<char>(n)),
                        _mm_add_epi8(places, _mm_set1_epi8(static_cast<char>(from))));
}

}  // namespace bytesums

// Copies n bytes, zeros behind them up to a whole stride, and gives their wrapping sum.
// REQUIRES: as many whole strides may be read and written; they do not overlap.
inline std::uint32_t CopyAndSum(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  __m128i sums = _mm_setzero_si128();
  for (std::size_t at = 0; at < n; at += SumStride) {
    const int left = static_cast<int>(n - at < SumStride ? n - at : SumStride);
    for (int i = 0; i < 64; i += 16) {
      const __m128i part = _mm_and_si128(bytesums::Load(from + at + i), bytesums::First(left, i));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to + at + i), part);
      sums = _mm_add_epi64(sums, _mm_sad_epu8(part, _mm_setzero_si128()));
    }
  }
  return bytesums::Both(sums);
}

#else

inline std::uint32_t CopyAndSum(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  std::memcpy(to, from, n);
  std::memset(to + n, 0, UpToStride(n) - n);
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < n; ++i) sum += to[i];
  return sum;
}

#endif

}  // namespace platform
