// The wide formatter.

#include "util/wideformat.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

#include "util/textsupport.h"

namespace {

std::u16string Format(const char16_t* format, ...) {
  va_list args;
  va_start(args, format);
  std::u16string result = util::FormatWide(format, args);
  va_end(args);
  return result;
}

TEST(WideFormat, FormatsNumbersAsPrintfDoes) {
  EXPECT_EQ(Format(u"%d|%i|%u|%x|%X|%o", -5, 7, 4000000000U, 255, 255, 8),
            u"-5|7|4000000000|ff|FF|10");
  EXPECT_EQ(Format(u"[%5d][%-5d][%05d][%+d][% d][%#x]", 42, 42, 42, 42, 42, 255),
            u"[   42][42   ][00042][+42][ 42][0xff]");
  EXPECT_EQ(Format(u"[%.3d][%8.3d][%*d][%-*d][%*d]", 7, 7, 4, 7, 4, 7, -4, 7),
            u"[007][     007][   7][7   ][7   ]");
  EXPECT_EQ(Format(u"[%.0d][%.*d][%.*d]", 0, 3, 5, -1, 0), u"[][005][0]");
  EXPECT_EQ(Format(u"%hd %hhd %hu %hhu", 65537, 257, 65537, 257), u"1 1 1 1");
  EXPECT_EQ(Format(u"%ld %lu %lld %I64d", LONG_MIN, ULONG_MAX, LLONG_MIN, LLONG_MAX),
            A2U(std::to_string(LONG_MIN) + ' ' + std::to_string(ULONG_MAX) + ' ' +
                std::to_string(LLONG_MIN) + ' ' + std::to_string(LLONG_MAX)));
  EXPECT_EQ(Format(u"%zu %td %jd %Id %I32d", SIZE_MAX, PTRDIFF_MIN, INTMAX_MIN, PTRDIFF_MIN, -1),
            A2U(std::to_string(SIZE_MAX) + ' ' + std::to_string(PTRDIFF_MIN) + ' ' +
                std::to_string(INTMAX_MIN) + ' ' + std::to_string(PTRDIFF_MIN) + " -1"));
  EXPECT_EQ(Format(u"%f|%.2f|%08.2f|%e|%G|%a|%Lg", 1.5, -2.5, -2.5, 12345.678, 1e-10, 1.0, 2.5L),
            u"1.500000|-2.50|-0002.50|1.234568e+04|1E-10|0x1p+0|2.5");
  EXPECT_EQ(Format(u"%.0f", 1e300).size(), 301U);
  EXPECT_EQ(Format(u"%d%%%d", 1, 2), u"1%2");
  EXPECT_EQ(Format(u"[%p][%20p]", reinterpret_cast<void*>(0xAB12), nullptr),
            u"[000000000000AB12][    0000000000000000]");
}

TEST(WideFormat, TakesWideAndNarrowText) {
  const KeepCodePage keep;
  SetCP(1251);
  const char* narrow = "\xB8\xE6";
  EXPECT_EQ(Format(u"%s-%ls-%ws-%lS", u"ёж", u"да", u"😀", u"ё"), u"ёж-да-😀-ё");
  EXPECT_EQ(Format(u"%hs-%S", narrow, narrow), u"ёж-ёж");
  EXPECT_EQ(Format(u"%c%lc%wc%hc%C%hC", u'ё', u'а', u'б', 0xB8, 0xE6, 'z'), u"ёабёжz");
  EXPECT_EQ(Format(u"[%5s][%-5s][%.1s][%5.1hs]", u"ёж", u"ёж", u"ёж", narrow),
            u"[   ёж][ёж   ][ё][    ё]");
  EXPECT_EQ(Format(u"[%3c][%-3c]", u'a', u'b'), u"[  a][b  ]");
  EXPECT_EQ(Format(u"%s %hs %.3s", nullptr, nullptr, nullptr), u"(null) (null) (nu");
  EXPECT_EQ(Format(u"a%cb%hcc", 0, 0), std::u16string(u"a\0b\0c", 5));
  const char16_t open[] = {u'a', u'b'};  // no terminator within the precision
  const char openNarrow[] = {'a', 'b'};
  EXPECT_EQ(Format(u"%.2s%.*hs", open, 2, openNarrow), u"abab");
}

TEST(WideFormat, LeavesWhatIsNoDirective) {
  EXPECT_EQ(Format(u""), u"");
  EXPECT_EQ(Format(u"100%"), u"100%");
  EXPECT_EQ(Format(u"%5"), u"%5");
  EXPECT_EQ(Format(u"%y %ё"), u"%y %ё");
  int untouched = 7;
  EXPECT_EQ(Format(u"a%nb%d", &untouched, 1), u"ab1");
  EXPECT_EQ(untouched, 7);
}

TEST(WideFormat, ManyArgumentsAreReadInTheirOrder) {
  EXPECT_EQ(Format(u"%d %f %s %d %f %hs %d %f %lld %c %s %d", 1, 2.0, u"3", 4, 5.0, "6", 7, 8.0,
                   9LL, u'a', u"b", 12),
            u"1 2.000000 3 4 5.000000 6 7 8.000000 9 a b 12");
}

}  // namespace
