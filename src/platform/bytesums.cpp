// Sums of bytes by what the processor at hand turns out to have.
#include "platform/bytesums.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

namespace platform {

#if defined(__x86_64__) && defined(__GNUC__)

namespace {

#define KVORLIB_AVX2 __attribute__((target("avx2")))

KVORLIB_AVX2 inline __m256i Load32Bytes(const std::uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
KVORLIB_AVX2 inline __m256i Put(std::uint8_t* to, __m256i part) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), part);
  return _mm256_sad_epu8(part, _mm256_setzero_si256());
}
KVORLIB_AVX2 inline std::uint32_t Total(__m256i sums) {
  return bytesums::Both(
      _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1)));
}
// A stride, as far as it is kept.
KVORLIB_AVX2 inline __m256i PutSome(std::uint8_t* to, const std::uint8_t* from,
                                    const std::uint8_t* kept) {
  return _mm256_add_epi64(
      Put(to, _mm256_and_si256(Load32Bytes(from), Load32Bytes(kept))),
      Put(to + 32, _mm256_and_si256(Load32Bytes(from + 32), Load32Bytes(kept + 32))));
}

// Whole strides as long as more than the reach is left, then all of the reach at once.
KVORLIB_AVX2 std::uint32_t CopyAndSumByAvx2(std::uint8_t* to, const std::uint8_t* from,
                                            std::size_t n) {
  __m256i sums = _mm256_setzero_si256();
  for (; n > SumReach; n -= SumStride, from += SumStride, to += SumStride) {
    sums = _mm256_add_epi64(sums, Put(to, Load32Bytes(from)));
    sums = _mm256_add_epi64(sums, Put(to + 32, Load32Bytes(from + 32)));
  }
  const std::uint8_t* const kept = bytesums::First(n);
  const __m256i half =
      _mm256_add_epi64(PutSome(to, from, kept), PutSome(to + 64, from + 64, kept + 64));
  const __m256i other = _mm256_add_epi64(PutSome(to + 128, from + 128, kept + 128),
                                         PutSome(to + 192, from + 192, kept + 192));
  return Total(_mm256_add_epi64(sums, _mm256_add_epi64(half, other)));
}

KVORLIB_AVX2 std::uint32_t CopyAndSumStrideByAvx2(std::uint8_t* to, const std::uint8_t* from,
                                                  std::size_t n) {
  return Total(PutSome(to, from, bytesums::First(n)));
}

#undef KVORLIB_AVX2

}  // namespace

std::uint32_t CopyAndSumInReach(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  return __builtin_cpu_supports("avx2") ? CopyAndSumByAvx2(to, from, n) : CopyAndSum(to, from, n);
}

std::uint32_t CopyAndSumStride(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  return __builtin_cpu_supports("avx2") ? CopyAndSumStrideByAvx2(to, from, n)
                                        : CopyAndSum(to, from, n);
}

#else

std::uint32_t CopyAndSumInReach(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  return CopyAndSum(to, from, n);
}

std::uint32_t CopyAndSumStride(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  return CopyAndSum(to, from, n);
}

#endif

}  // namespace platform
