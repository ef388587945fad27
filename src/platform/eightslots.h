// Eight numbers of 16 bits looked at in one go, where every processor of the kind has instructions
// for that.
#pragma once

#include <bit>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace platform {

inline constexpr unsigned SlotsAtOnce = 8;

// Some of eight slots, from the first on.
class SlotSet {
 public:
  explicit SlotSet(unsigned itsBits) : bits(itsBits) {}
  bool IsEmpty() const { return bits == 0; }
  // REQUIRES: !IsEmpty().
  unsigned First() const { return static_cast<unsigned>(std::countr_zero(bits)) / BitsEach; }
  void DropFirst() { bits &= ~(Each << First() * BitsEach); }

  static constexpr unsigned BitsEach = 2;  // as the instruction gives them: one for each byte

 private:
  static constexpr unsigned Each = 3;
  unsigned bits;
};

#if defined(__SSE2__)

// REQUIRES: the slots begin at a multiple of 16 bytes.
class EightSlots {
 public:
  explicit EightSlots(const std::uint16_t* slots)
      : all(_mm_load_si128(reinterpret_cast<const __m128i*>(slots))) {}
  // Those that are the value in the bits of the mask.
  SlotSet Like(std::uint16_t value, std::uint16_t mask) const {
    const __m128i looked = _mm_and_si128(all, _mm_set1_epi16(static_cast<short>(mask)));
    const __m128i same = _mm_cmpeq_epi16(looked, _mm_set1_epi16(static_cast<short>(value & mask)));
    return SlotSet(static_cast<unsigned>(_mm_movemask_epi8(same)));
  }

 private:
  __m128i all;
};

#else

class EightSlots {
 public:
  explicit EightSlots(const std::uint16_t* slots) : all(slots) {}
  SlotSet Like(std::uint16_t value, std::uint16_t mask) const {
    unsigned bits = 0;
    for (unsigned i = 0; i < SlotsAtOnce; ++i) {
      if (((all[i] ^ value) & mask) == 0) bits |= 3U << i * SlotSet::BitsEach;
    }
    return SlotSet(bits);
  }

 private:
  const std::uint16_t* all;
};

#endif

}  // namespace platform
