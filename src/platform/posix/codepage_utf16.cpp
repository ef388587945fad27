// The guess whether bytes are UTF-16, little-endian. 8-bit text seldom has zero bytes and control
// bytes, wide text of the alphabets is full of them, and both have their share of ideographs by
// accident: the counts decide.

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>

#include "platform/codepage.h"

namespace platform {
namespace {

bool IsTextByte(unsigned byte) {
  return byte == '\t' || byte == '\n' || byte == '\f' || byte == '\r' ||
         (byte >= 0x20 && byte <= 0x7E) || (byte >= 0xA0 && byte <= 0xFF);
}

bool IsPrintableAscii(unsigned byte) { return byte >= 0x20 && byte <= 0x7E; }

// Control bytes that 8-bit text lacks; also the high bytes of Cyrillic, Greek, Hebrew, Thai …
bool IsControl(unsigned byte) { return byte <= 0x08 || (byte >= 0x0E && byte <= 0x1F); }

bool IsHangul(unsigned unit) { return unit >= 0xAC00 && unit <= 0xD7A3; }

bool IsPrivateUse(unsigned unit) { return unit >= 0xE000 && unit <= 0xF8FF; }

// Units that wide text is made of, apart from those with a zero high byte.
bool IsGood(unsigned unit) {
  if (IsControl(unit >> 8)) return true;
  return (unit >= 0x2010 && unit <= 0x206F) || unit == 0x20AC || unit == 0x2116 || unit == 0x2122 ||
         (unit >= 0x3000 && unit <= 0x9FFF) || IsHangul(unit) ||
         (unit >= 0xF900 && unit <= 0xFAFF) || (unit >= 0xFF00 && unit <= 0xFFEF);
}

struct Counts {
  std::size_t units = 0;
  std::size_t good = 0;
  std::size_t highZero = 0;
  std::size_t swapped = 0;     // low byte zero under a high byte of text
  std::size_t asciiPairs = 0;  // both bytes printable ASCII
  std::size_t privateUse = 0;
  std::size_t hangul = 0;
  std::size_t controlBytes = 0;
};

class Units {
 public:
  Units(const unsigned char* data, std::size_t size) : bytes(data), count(size / 2) {}
  std::size_t Count() const { return count; }
  unsigned operator[](std::size_t i) const { return bytes[2 * i] | bytes[2 * i + 1] << 8; }

 private:
  const unsigned char* bytes;
  std::size_t count;
};

void CountUnit(unsigned unit, Counts& counts) {
  const unsigned low = unit & 0xFF;
  const unsigned high = unit >> 8;
  counts.good += high == 0 || IsGood(unit);
  counts.highZero += high == 0;
  counts.swapped += low == 0 && IsTextByte(high);
  counts.asciiPairs += IsPrintableAscii(low) && IsPrintableAscii(high);
  counts.privateUse += IsPrivateUse(unit);
  counts.hangul += IsHangul(unit);
  counts.controlBytes += IsControl(low) + IsControl(high);
}

// False when some unit cannot stand in wide text.
bool CountAll(const Units& text, Counts& counts) {
  counts.units = text.Count();
  for (std::size_t i = 0; i < text.Count(); ++i) {
    const unsigned unit = text[i];
    if (unit == 0 || unit >= 0xFFFE || U16_IS_TRAIL(unit)) return false;
    if (unit < 0x100 && !IsTextByte(unit)) return false;
    CountUnit(unit, counts);
    if (!U16_IS_LEAD(unit)) continue;
    if (i + 1 == text.Count()) break;  // the text may be cut here
    if (!U16_IS_TRAIL(text[++i])) return false;
    CountUnit(text[i], counts);
    counts.good += 2;
  }
  return true;
}

// Valid UTF-8, 7-bit text among it; the last character may be cut.
bool IsUtf8(const unsigned char* bytes, std::size_t size) {
  for (std::size_t i = 0; i < size;) {
    const std::size_t start = i;
    UChar32 point;
    U8_NEXT(bytes, i, size, point);
    if (point >= 0) continue;
    // Cut, when what is left is a lead byte and proper trail bytes, all of which were taken.
    return i == size && U8_IS_LEAD(bytes[start]);
  }
  return true;
}

}  // namespace

bool LooksLikeUtf16(const void* data, std::size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  if (size < 2 || size % 2 != 0) return false;
  const Units text(bytes, size);
  if (text[0] == 0xFEFF) return true;
  if (text[0] == 0xFFFE || (size > 2 && text[0] == 0xBBEF && bytes[2] == 0xBF)) return false;

  Counts counts;
  if (!CountAll(text, counts)) return false;
  if (counts.swapped > counts.highZero && counts.swapped * 8 > counts.units) return false;
  if (counts.privateUse * 16 > counts.units) return false;
  if (counts.asciiPairs * 2 > counts.units) return false;
  if (counts.highZero > 0) return counts.good * 4 >= counts.units * 3;
  if (counts.controlBytes * 4 >= size) return counts.good * 8 >= counts.units * 7;
  if (IsUtf8(bytes, size)) return false;
  return counts.good * 16 >= counts.units * 15 && counts.privateUse == 0 &&
         counts.hangul * 4 <= counts.units;
}

}  // namespace platform
