// Searching and comparing of bytes, sixteen at a time where every processor of the kind has
// instructions for that. More may be read than is asked for, and does not count.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace platform {

// So many bytes must be there to be read behind those that are asked for.
inline constexpr std::size_t ReadAhead = 16;

#if defined(__SSE2__)

namespace byteruns {

inline __m128i Load(const std::uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline std::size_t FirstOf(unsigned bits) {
  return static_cast<std::size_t>(std::countr_zero(bits));
}

}  // namespace byteruns

// Which of sixteen bytes have this value: a bit for each, the lowest for the first.
inline unsigned WhichAre(std::uint8_t value, const std::uint8_t* p) {
  const __m128i wanted = _mm_set1_epi8(static_cast<char>(value));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(byteruns::Load(p), wanted)));
}

// The place of the first byte with this value, or n if none of n has it.
// REQUIRES: ReadAhead bytes may be read behind them.
inline std::size_t PlaceOf(std::uint8_t value, const std::uint8_t* p, std::size_t n) {
  const __m128i wanted = _mm_set1_epi8(static_cast<char>(value));
  for (std::size_t at = 0; at < n; at += ReadAhead) {
    const int bits = _mm_movemask_epi8(_mm_cmpeq_epi8(byteruns::Load(p + at), wanted));
    if (bits == 0) continue;
    const std::size_t place = at + byteruns::FirstOf(static_cast<unsigned>(bits));
    return place < n ? place : n;
  }
  return n;
}

// How many of n bytes are the same, up to the first that is not.
// REQUIRES: ReadAhead bytes may be read behind both.
inline std::size_t SameBytes(const std::uint8_t* a, const std::uint8_t* b, std::size_t n) {
  constexpr unsigned all = 0xFFFF;
  for (std::size_t at = 0; at < n; at += ReadAhead) {
    const int bits =
        _mm_movemask_epi8(_mm_cmpeq_epi8(byteruns::Load(a + at), byteruns::Load(b + at)));
    if (bits == all) continue;
    const std::size_t place = at + byteruns::FirstOf(~static_cast<unsigned>(bits));
    return place < n ? place : n;
  }
  return n;
}

#else

inline unsigned WhichAre(std::uint8_t value, const std::uint8_t* p) {
  unsigned bits = 0;
  for (unsigned i = 0; i < 16; ++i) bits |= (p[i] == value ? 1U : 0U) << i;
  return bits;
}
inline std::size_t PlaceOf(std::uint8_t value, const std::uint8_t* p, std::size_t n) {
  std::size_t at = 0;
  while (at < n && p[at] != value) ++at;
  return at;
}
inline std::size_t SameBytes(const std::uint8_t* a, const std::uint8_t* b, std::size_t n) {
  std::size_t at = 0;
  while (at < n && a[at] == b[at]) ++at;
  return at;
}

#endif

}  // namespace platform
