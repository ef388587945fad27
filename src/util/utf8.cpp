// UTF-8 to UTF-16 and back, of any content: what is bad is marked and passed over one byte or unit
// at a time, by searching for it rather than by exceptions, which would make bad text a hundred
// times slower than good. Letters of one and of two bytes, of which most texts are made, are looked
// at here, and all others left to the library.

#include "util/utf8.h"

#include <utf8.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "kvorlib/encoding.h"

namespace {

constexpr char16_t kReplacement = 0xFFFD;
constexpr std::ptrdiff_t kRun = 8;

bool IsHigh(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLow(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

unsigned ByteAt(const char* at) { return static_cast<unsigned char>(*at); }

// Whether kRun bytes of ASCII are there.
bool AtRun(const char* first, const char* last) {
  if (last - first < kRun) return false;
  std::uint64_t bytes;
  std::memcpy(&bytes, first, sizeof bytes);
  return (bytes & 0x8080808080808080U) == 0;
}

bool AtPair(const char* first, const char* last) {
  return last - first >= 2 && ByteAt(first) >= 0xC2 && ByteAt(first) <= 0xDF &&
         (ByteAt(first + 1) & 0xC0) == 0x80;
}

// Behind the letter of three or four bytes; `first` itself if there is none.
const char* BehindLong(const char* first, const char* last) {
  const std::ptrdiff_t size = ByteAt(first) < 0xF0 ? 3 : 4;
  if (ByteAt(first) < 0xE0 || last - first < size) return first;
  return utf8::find_invalid(first, first + size) == first + size ? first + size : first;
}

constexpr std::size_t SizeOf(char16_t unit) { return unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3; }

}  // namespace

// ---- What is in a text: one shift a byte, and no jumps to be guessed wrongly ----

namespace {

// What may come next.
enum State : unsigned {
  Letter,
  LastTail,
  TwoTails,
  ThreeTails,
  TailsOfE0,  // these four have a shorter range for the next byte
  TailsOfED,
  TailsOfF0,
  TailsOfF4,
  Nothing,
  StateCount
};

constexpr unsigned AfterLead(unsigned byte) {
  if (byte < 0x80) return Letter;
  if (byte < 0xC2 || byte > 0xF4) return Nothing;
  if (byte < 0xE0) return LastTail;
  if (byte < 0xF0) return byte == 0xE0 ? TailsOfE0 : byte == 0xED ? TailsOfED : TwoTails;
  return byte == 0xF0 ? TailsOfF0 : byte == 0xF4 ? TailsOfF4 : ThreeTails;
}

constexpr unsigned After(unsigned state, unsigned byte) {
  if (state == Letter) return AfterLead(byte);
  if (byte < 0x80 || byte > 0xBF) return Nothing;
  switch (state) {
    case LastTail:
      return Letter;
    case TwoTails:
      return LastTail;
    case ThreeTails:
      return TwoTails;
    case TailsOfE0:
      return byte >= 0xA0 ? LastTail : Nothing;
    case TailsOfED:
      return byte < 0xA0 ? LastTail : Nothing;
    case TailsOfF0:
      return byte >= 0x90 ? TwoTails : Nothing;
    case TailsOfF4:
      return byte < 0x90 ? TwoTails : Nothing;
    default:
      return Nothing;
  }
}

// For each byte the states that it leads to, six bits for each state that it is met in. A state is
// the place of its six bits.
constexpr unsigned kStateBits = 6;
constexpr std::uint64_t kStateMask = 63;
constexpr std::uint64_t kControl = std::uint64_t{1} << 62;
static_assert(StateCount * kStateBits < 62);

constexpr std::array<std::uint64_t, 256> kSteps = [] {
  std::array<std::uint64_t, 256> steps{};
  for (unsigned byte = 0; byte < steps.size(); ++byte) {
    if (byte < ' ') steps[byte] |= kControl;
    for (unsigned state = 0; state < StateCount; ++state)
      steps[byte] |= std::uint64_t{After(state, byte)} * kStateBits << (state * kStateBits);
  }
  return steps;
}();

}  // namespace

util::Utf8Traits util::TraitsOf(std::string_view text) {
  std::uint64_t state = Letter;
  std::uint64_t met = 0;
  for (const char c : text) {
    const std::uint64_t step = kSteps[static_cast<unsigned char>(c)];
    met |= step;
    state = step >> (state & kStateMask);
  }
  return {(state & kStateMask) == Letter, (met & kControl) != 0};
}

// ---- Conversions ----

char16_t* util::DecodeUtf8(std::string_view text, char16_t* room) {
  const char* first = text.data();
  const char* const last = first + text.size();
  while (first != last) {
    if (AtRun(first, last)) {
      for (std::ptrdiff_t i = 0; i < kRun; ++i) room[i] = static_cast<char16_t>(ByteAt(first + i));
      room += kRun;
      first += kRun;
    } else if (ByteAt(first) < 0x80) {
      *room++ = static_cast<char16_t>(ByteAt(first++));
    } else if (AtPair(first, last)) {
      *room++ = static_cast<char16_t>((ByteAt(first) & 0x1F) << 6 | (ByteAt(first + 1) & 0x3F));
      first += 2;
    } else if (const char* const behind = BehindLong(first, last); behind != first) {
      room = utf8::unchecked::utf8to16(first, behind, room);
      first = behind;
    } else {
      *room++ = kReplacement;
      ++first;
    }
  }
  return room;
}

std::u16string u8_w(const char* first, const char* last) {
  const auto size = static_cast<std::size_t>(last - first);
  std::u16string result(size, u'\0');
  const char16_t* const end = util::DecodeUtf8({first, size}, result.data());
  result.resize(static_cast<std::size_t>(end - result.data()));
  return result;
}

std::string w_u8(const char16_t* first, const char16_t* last) {
  std::size_t size = 0;
  for (const char16_t* at = first; at != last; ++at) size += SizeOf(*at);
  std::string result(size, '\0');  // a pair of surrogates needs less than twice the place of one
  char* end = result.data();
  while (first != last) {
    const char16_t unit = *first++;
    if (unit < 0x80) {
      *end++ = static_cast<char>(unit);
    } else if (IsHigh(unit) && first != last && IsLow(*first)) {
      const char32_t point = 0x10000 + ((unit - 0xD800U) << 10) + (*first++ - 0xDC00U);
      end = utf8::unchecked::append(point, end);
    } else {
      const bool lone = IsHigh(unit) || IsLow(unit);
      end = utf8::unchecked::append(static_cast<char32_t>(lone ? kReplacement : unit), end);
    }
  }
  result.resize(static_cast<std::size_t>(end - result.data()));
  return result;
}
