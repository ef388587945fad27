// Sums of bytes, sixteen at a time where every processor of the kind has instructions for that.
#pragma once

#include <array>
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

// The same as CopyAndSum. So many bytes are copied however few there are, for how many strides
// there will be is what a processor guesses wrong: quicker if lengths vary, and it has the
// instructions.
// REQUIRES: this many bytes may be read and written even if fewer whole strides would do.
inline constexpr std::size_t SumReach = 4 * SumStride;
std::uint32_t CopyAndSumInReach(std::uint8_t* to, const std::uint8_t* from, std::size_t n);

// The same for at most a stride. It is stored in halves where the processor can: who looks for the
// end of a key right behind that, 32 bytes at once, would wait for smaller parts to come together.
std::uint32_t CopyAndSumStride(std::uint8_t* to, const std::uint8_t* from, std::size_t n);

namespace bytesums {

// SumReach ones, then as many zeros: the first n bytes are kept by what begins n in front of the
// zeros.
inline constexpr std::array<std::uint8_t, 2 * SumReach> Ones = [] {
  std::array<std::uint8_t, 2 * SumReach> ones{};
  for (std::size_t i = 0; i < SumReach; ++i) ones[i] = 0xFF;
  return ones;
}();
inline const std::uint8_t* First(std::size_t n) { return Ones.data() + SumReach - n; }

}  // namespace bytesums

#if defined(__SSE2__)

namespace bytesums {

inline __m128i Load(const std::uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline std::uint32_t Both(__m128i sums) {
  return static_cast<std::uint32_t>(_mm_cvtsi128_si32(sums) +
                                    _mm_cvtsi128_si32(_mm_unpackhi_epi64(sums, sums)));
}
// Stores the part, and gives its sums.
inline __m128i Put(std::uint8_t* to, __m128i part) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), part);
  return _mm_sad_epu8(part, _mm_setzero_si128());
}
inline __m128i PutSome(std::uint8_t* to, const std::uint8_t* from, const std::uint8_t* kept) {
  return Put(to, _mm_and_si128(Load(from), Load(kept)));
}
inline __m128i Add(__m128i a, __m128i b, __m128i c, __m128i d) {
  return _mm_add_epi64(_mm_add_epi64(a, b), _mm_add_epi64(c, d));
}

}  // namespace bytesums

// Copies n bytes, zeros behind them up to a whole stride, and gives their wrapping sum.
// REQUIRES: as many whole strides may be read and written; they do not overlap.
inline std::uint32_t CopyAndSum(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  using namespace bytesums;
  __m128i sums = _mm_setzero_si128();
  for (; n >= SumStride; n -= SumStride, to += SumStride, from += SumStride) {
    const __m128i stride = Add(Put(to, Load(from)), Put(to + 16, Load(from + 16)),
                               Put(to + 32, Load(from + 32)), Put(to + 48, Load(from + 48)));
    sums = _mm_add_epi64(sums, stride);
  }
  if (n == 0) return Both(sums);
  const std::uint8_t* const kept = First(n);
  const __m128i rest =
      Add(PutSome(to, from, kept), PutSome(to + 16, from + 16, kept + 16),
          PutSome(to + 32, from + 32, kept + 32), PutSome(to + 48, from + 48, kept + 48));
  return Both(_mm_add_epi64(sums, rest));
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
