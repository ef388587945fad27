// What each of sixteen bytes is, the letter that would begin at each, and these moved together over
// the places where none does. There is no jump to be guessed, whatever the letters.
#include "util/utf8blocks.h"

#if defined(__SSE2__) && defined(__GNUC__)

#include <tmmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

namespace {

#define WITH_SHUFFLE __attribute__((target("ssse3,popcnt")))

constexpr std::size_t kStride = 16;
constexpr std::size_t kHalf = 8;

// For each choice of eight units the bytes that it moves to the front.
struct alignas(kStride) Shuffle {
  std::array<std::uint8_t, kStride> from;
};
constexpr std::array<Shuffle, 1U << kHalf> kTogether = [] {
  std::array<Shuffle, 1U << kHalf> all{};
  for (unsigned choice = 0; choice < all.size(); ++choice) {
    std::size_t at = 0;
    for (unsigned unit = 0; unit < kHalf; ++unit) {
      if ((choice >> unit & 1) == 0) continue;
      all[choice].from[at++] = static_cast<std::uint8_t>(2 * unit);
      all[choice].from[at++] = static_cast<std::uint8_t>(2 * unit + 1);
    }
  }
  return all;
}();

// From the n-th on, those that move sixteen bytes n places to the front, with zeros behind them.
constexpr std::array<char, 2 * kStride> kMoves = [] {
  std::array<char, 2 * kStride> moves{};
  for (std::size_t i = 0; i < moves.size(); ++i) {
    moves[i] = static_cast<char>(i < kStride ? i : 0x80);
  }
  return moves;
}();

__m128i Load(const char* text) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text)); }

// The last bytes of a text, fewer than sixteen, and zeros, with which no letter goes on.
WITH_SHUFFLE __m128i LoadLast(std::string_view text, std::size_t rest) {
  alignas(kStride) std::array<char, kStride> last{};
  if (text.size() < kStride) {
    std::copy(text.end() - static_cast<std::ptrdiff_t>(rest), text.end(), last.begin());
    return Load(last.data());
  }
  return _mm_shuffle_epi8(Load(text.data() + text.size() - kStride),
                          Load(kMoves.data() + kStride - rest));
}

class Block {
 public:
  explicit Block(__m128i text) : bytes(text) {}

  // How many bytes in front make whole letters of which the first byte tells enough: not so E0, ED
  // and those of four bytes.
  std::size_t Good() const {
    const std::uint32_t high = Set(bytes);
    const std::uint32_t tails = Below(0xC0);
    const std::uint32_t pairs = Below(0xE0) & ~Below(0xC2);
    const std::uint32_t surrogates = Set(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(-0x13)));  // ED
    const std::uint32_t triples = Below(0xF0) & ~Below(0xE1) & ~surrogates;
    const std::uint32_t first = (pairs | triples) << 1;
    const std::uint32_t second = triples << 2;
    const std::uint32_t lacking = (first & ~tails) >> 1 | (second & ~tails) >> 2;
    const std::uint32_t bad =
        (high & ~(tails | pairs | triples)) | lacking | (tails & ~(first | second));
    return static_cast<std::size_t>(std::countr_zero(bad | 1U << kStride));
  }

  WITH_SHUFFLE char16_t* Put(std::size_t good, char16_t* room) const {
    const __m128i none = _mm_setzero_si128();
    const __m128i next = _mm_srli_si128(bytes, 1);
    const __m128i last = _mm_srli_si128(bytes, 2);
    const std::uint32_t begins = ~Below(0xC0) & ((1U << good) - 1);
    room = PutHalf(Letters(_mm_unpacklo_epi8(bytes, none), _mm_unpacklo_epi8(next, none),
                           _mm_unpacklo_epi8(last, none)),
                   begins & 0xFF, room);
    return PutHalf(Letters(_mm_unpackhi_epi8(bytes, none), _mm_unpackhi_epi8(next, none),
                           _mm_unpackhi_epi8(last, none)),
                   begins >> kHalf, room);
  }

 private:
  static std::uint32_t Set(__m128i marked) {
    return static_cast<std::uint32_t>(_mm_movemask_epi8(marked));
  }
  // Those from 80 on.
  std::uint32_t Below(int byte) const {
    return Set(_mm_cmplt_epi8(bytes, _mm_set1_epi8(static_cast<char>(byte))));
  }

  // From the eight bytes and the two behind each, one a unit, the letters that begin there.
  static __m128i Letters(__m128i bytes, __m128i next, __m128i last) {
    const __m128i low = _mm_set1_epi16(0x3F);
    const __m128i isHigh = _mm_cmpgt_epi16(bytes, _mm_set1_epi16(0x7F));
    const __m128i isTriple = _mm_cmpgt_epi16(bytes, _mm_set1_epi16(0xDF));
    const __m128i lead = _mm_slli_epi16(_mm_and_si128(bytes, _mm_set1_epi16(0x1F)), 6);
    const __m128i pair = _mm_or_si128(lead, _mm_and_si128(next, low));
    const __m128i triple = _mm_or_si128(_mm_slli_epi16(pair, 6), _mm_and_si128(last, low));
    const __m128i letter = Chosen(isTriple, triple, pair);
    return Chosen(isHigh, letter, bytes);
  }
  static __m128i Chosen(__m128i where, __m128i there, __m128i elsewhere) {
    return _mm_or_si128(_mm_and_si128(where, there), _mm_andnot_si128(where, elsewhere));
  }

  WITH_SHUFFLE static char16_t* PutHalf(__m128i letters, std::uint32_t begins, char16_t* room) {
    const __m128i from =
        _mm_load_si128(reinterpret_cast<const __m128i*>(kTogether[begins].from.data()));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(room), _mm_shuffle_epi8(letters, from));
    return room + std::popcount(begins);
  }

  __m128i bytes;
};

WITH_SHUFFLE util::Widened WidenBlocks(std::string_view text, char16_t* room) {
  std::size_t at = 0;
  char16_t* end = room;
  while (at < text.size()) {
    const std::size_t rest = text.size() - at;
    const Block block(rest < kStride ? LoadLast(text, rest) : Load(text.data() + at));
    const std::size_t good = block.Good();
    end = block.Put(std::min(good, rest), end);
    at += std::min(good, rest);
    if (good + 2 < kStride && at < text.size()) break;  // not a letter that the stride has cut
  }
  return {at, static_cast<std::size_t>(end - room)};
}

#undef WITH_SHUFFLE

__m128i All(int byte) { return _mm_set1_epi8(static_cast<char>(byte)); }
__m128i NotBelow(int byte, __m128i bytes) {
  return _mm_cmpeq_epi8(_mm_max_epu8(bytes, All(byte)), bytes);
}

// The letters of which the first byte does not tell enough, and what begins none.
__m128i Special(__m128i bytes) {
  const __m128i overlong = _mm_cmpeq_epi8(_mm_and_si128(bytes, All(0xFE)), All(0xC0));
  const __m128i triple =
      _mm_or_si128(_mm_cmpeq_epi8(bytes, All(0xE0)), _mm_cmpeq_epi8(bytes, All(0xED)));
  return _mm_or_si128(_mm_or_si128(overlong, triple), NotBelow(0xF0, bytes));
}

// The tails that are there and should not, and the other way round.
__m128i Misplaced(__m128i bytes, __m128i before, __m128i beforeThat) {
  const __m128i tails = _mm_cmplt_epi8(bytes, All(0xC0));
  return _mm_xor_si128(tails, _mm_or_si128(NotBelow(0xC0, before), NotBelow(0xE0, beforeThat)));
}

}  // namespace

std::optional<bool> util::AreLetters(std::string_view text) {
  if (text.size() < 2 * kStride) return std::nullopt;
  const auto fromEnd = [&](std::size_t n) {
    return static_cast<unsigned char>(text[text.size() - n]);
  };
  const std::size_t lastBlock = text.size() - kStride;
  const __m128i first = Load(text.data());
  __m128i special = Special(first);
  __m128i misplaced = Misplaced(first, _mm_slli_si128(first, 1), _mm_slli_si128(first, 2));
  for (std::size_t at = 0; at < lastBlock;) {
    at = std::min(at + kStride, lastBlock);
    const char* const there = text.data() + at;
    const __m128i bytes = Load(there);
    special = _mm_or_si128(special, Special(bytes));
    misplaced = _mm_or_si128(misplaced, Misplaced(bytes, Load(there - 1), Load(there - 2)));
  }
  if (_mm_movemask_epi8(special) != 0) return std::nullopt;
  return _mm_movemask_epi8(misplaced) == 0 && fromEnd(1) < 0xC0 && fromEnd(2) < 0xE0;
}

util::Widened util::WidenLetters(std::string_view text, char16_t* room) {
  const bool isAble = __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt");
  return isAble ? WidenBlocks(text, room) : Widened{};
}

#else

util::Widened util::WidenLetters(std::string_view /*text*/, char16_t* /*room*/) { return {}; }

std::optional<bool> util::AreLetters(std::string_view /*text*/) { return std::nullopt; }

#endif
