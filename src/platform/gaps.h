// Gaps between words, sixteen bytes or units at a time where every processor of the kind has
// instructions for that.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace platform {

inline constexpr std::size_t GapStride = 16;

// Which of the sixteen are blanks or control characters: a bit for each, the lowest for the first.
#if defined(__SSE2__)

inline std::uint32_t Gaps(const char* text) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  const __m128i above = _mm_subs_epu8(bytes, _mm_set1_epi8(' '));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(above, _mm_setzero_si128())));
}

inline std::uint32_t Gaps(const char16_t* text) {
  const auto eight = [](const char16_t* at) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    return _mm_cmpeq_epi16(_mm_subs_epu16(units, _mm_set1_epi16(' ')), _mm_setzero_si128());
  };
  return static_cast<std::uint32_t>(
      _mm_movemask_epi8(_mm_packs_epi16(eight(text), eight(text + GapStride / 2))));
}

#else

template <class T>
std::uint32_t Gaps(const T* text) {
  std::uint32_t gaps = 0;
  for (std::size_t i = 0; i < GapStride; ++i) {
    gaps |= (text[i] >= 0 && text[i] <= ' ' ? 1U : 0U) << i;
  }
  return gaps;
}

#endif

}  // namespace platform
