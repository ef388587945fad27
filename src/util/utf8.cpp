// UTF-8 to UTF-16 and back, of any content: what is bad is marked and passed over one byte or unit
// at a time, by searching for it rather than by exceptions, which would make bad text a hundred
// times slower than good.

#include <utf8.h>

#include <iterator>

#include "kvorlib/encoding.h"

namespace {

constexpr char16_t kReplacement = 0xFFFD;

bool IsHigh(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLow(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

std::u16string u8_w(const char* first, const char* last) {
  // No byte makes more than one unit.
  std::u16string result(static_cast<std::size_t>(last - first), u'\0');
  char16_t* end = result.data();
  while (first != last) {
    const char* bad = utf8::find_invalid(first, last);
    end = utf8::unchecked::utf8to16(first, bad, end);
    if (bad == last) break;
    *end++ = kReplacement;
    first = bad + 1;
  }
  result.resize(static_cast<std::size_t>(end - result.data()));
  return result;
}

std::string w_u8(const char16_t* first, const char16_t* last) {
  std::string result;
  result.reserve(static_cast<std::size_t>(last - first));
  while (first != last) {
    const char16_t unit = *first++;
    if (unit < 0x80) {
      result += static_cast<char>(unit);
    } else if (IsHigh(unit) && first != last && IsLow(*first)) {
      const char32_t point = 0x10000 + ((unit - 0xD800U) << 10) + (*first++ - 0xDC00U);
      utf8::append(point, std::back_inserter(result));
    } else {
      const bool lone = IsHigh(unit) || IsLow(unit);
      utf8::append(static_cast<char32_t>(lone ? kReplacement : unit), std::back_inserter(result));
    }
  }
  return result;
}
