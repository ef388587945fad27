// The digits are those of ASCII alone.
#include "vocabulary/numbertext.h"

namespace vocabulary {

namespace {

unsigned DigitOf(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10U;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10U;
  return 16;
}

bool IsBlank(char16_t c) { return c == u' ' || (c >= u'\t' && c <= u'\r'); }

// Takes blanks and the sign away; whether there was a minus.
bool TakeSign(std::u16string_view& text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  const bool minus = text.starts_with(u'-');
  if (minus || text.starts_with(u'+')) text.remove_prefix(1);
  return minus;
}

std::uint32_t Value(std::u16string_view digits, bool minus, unsigned base) {
  std::uint32_t value = 0;
  for (const char16_t c : digits) {
    const unsigned digit = DigitOf(c);
    if (digit >= base) break;
    value = value * base + digit;
  }
  return minus ? 0 - value : value;
}

}  // namespace

std::uint32_t DecimalValue(std::u16string_view text) {
  const bool minus = TakeSign(text);
  return Value(text, minus, 10);
}

std::uint32_t HexadecimalValue(std::u16string_view text) {
  const bool minus = TakeSign(text);
  if (text.starts_with(u"0x") || text.starts_with(u"0X")) text.remove_prefix(2);
  return Value(text, minus, 16);
}

}  // namespace vocabulary
