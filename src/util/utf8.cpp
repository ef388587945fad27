// UTF-8 to UTF-16 and back, of any content: what is bad is marked and passed over one byte or unit
// at a time, by searching for it rather than by exceptions, which would make bad text a hundred
// times slower than good. Letters of one and of two bytes, of which most texts are made, are looked
// at here, in runs, and all others left to the library.

#include "util/utf8.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "kvorlib/encoding.h"
#include "util/utf8blocks.h"

namespace {

constexpr char16_t kReplacement = 0xFFFD;

bool IsHigh(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLow(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

unsigned ByteAt(const char* at) { return static_cast<unsigned char>(*at); }

// Behind the letter of several bytes; `first` itself if there is none.
const char* BehindLong(const char* first, const char* last) {
  const std::ptrdiff_t size = ByteAt(first) < 0xE0 ? 2 : ByteAt(first) < 0xF0 ? 3 : 4;
  if (last - first < size) return first;
  return utf8::find_invalid(first, first + size) == first + size ? first + size : first;
}

}  // namespace

// ---- Whether a text is UTF-8: one shift a byte, and no jumps to be guessed wrongly ----

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
static_assert(StateCount * kStateBits < 64);

constexpr std::array<std::uint64_t, 256> kSteps = [] {
  std::array<std::uint64_t, 256> steps{};
  for (unsigned byte = 0; byte < steps.size(); ++byte) {
    for (unsigned state = 0; state < StateCount; ++state)
      steps[byte] |= std::uint64_t{After(state, byte)} * kStateBits << (state * kStateBits);
  }
  return steps;
}();

}  // namespace

bool util::IsUtf8(std::string_view text) {
  if (const auto answer = AreLetters(text)) return *answer;
  std::uint64_t state = Letter;
  for (const char c : text) state = kSteps[static_cast<unsigned char>(c)] >> (state & kStateMask);
  return (state & kStateMask) == Letter;
}

// ---- Conversions ----

namespace {

// The letter in front or the mark for a bad byte; `first` goes behind it.
char16_t* DecodeLetter(const char*& first, const char* last, char16_t* room) {
  const char* const behind = ByteAt(first) < 0x80 ? first + 1 : BehindLong(first, last);
  if (behind == first) {
    *room = kReplacement;
    ++first;
    return room + 1;
  }
  room = utf8::unchecked::utf8to16(first, behind, room);
  first = behind;
  return room;
}

}  // namespace

char16_t* util::ConvertUtf8(std::string_view text, char16_t* room) {
  const char* first = text.data();
  const char* const last = first + text.size();
  if (text.size() < 16) {
    while (first != last && ByteAt(first) < 0x80) *room++ = static_cast<char16_t>(ByteAt(first++));
  }
  while (first != last) {
    const Widened done = WidenLetters({first, last}, room);
    first += done.bytes;
    room += done.units;
    if (first != last) room = DecodeLetter(first, last, room);
  }
  return room;
}

char* util::ConvertUtf8(std::u16string_view text, char* room) {
  const char16_t* first = text.data();
  const char16_t* const last = first + text.size();
  while (first != last) {
    const char16_t unit = *first++;
    if (unit < 0x80) {
      *room++ = static_cast<char>(unit);
    } else if (unit < 0x800) {
      *room++ = static_cast<char>(0xC0 | unit >> 6);
      *room++ = static_cast<char>(0x80 | (unit & 0x3F));
    } else if (IsHigh(unit) && first != last && IsLow(*first)) {
      const char32_t point = 0x10000 + ((unit - 0xD800U) << 10) + (*first++ - 0xDC00U);
      room = utf8::unchecked::append(point, room);
    } else {
      const bool lone = IsHigh(unit) || IsLow(unit);
      room = utf8::unchecked::append(static_cast<char32_t>(lone ? kReplacement : unit), room);
    }
  }
  return room;
}

std::u16string u8_w(const char* first, const char* last) {
  const util::WideText wide({first, static_cast<std::size_t>(last - first)});
  return std::u16string(wide.View());
}

std::string w_u8(const char16_t* first, const char16_t* last) {
  const util::Utf8Text narrow({first, static_cast<std::size_t>(last - first)});
  return std::string(narrow.View());
}
