// The wide formatter.

#include "util/wideformat.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>

#include "util/textsupport.h"

namespace {

std::u16string Format(const char16_t* format, ...) {
  va_list args;
  va_start(args, format);
  std::u16string result = util::FormatWide(format, args);
  va_end(args);
  return result;
}

template <class... Args>
void ExpectWhatPrintfGives(const char* format, Args... args) {
  char expected[400];
  std::snprintf(expected, sizeof expected, format, args...);
  EXPECT_EQ(Format(A2U(format, -1).c_str(), args...), A2U(expected, -1)) << format;
}

TEST(WideFormat, FormatsNumbersAsPrintfDoes) {
  ExpectWhatPrintfGives("%d|%i|%u|%x|%X|%o|%%", -5, 7, 4000000000U, 255, 255, 8);
  ExpectWhatPrintfGives("[%5d][%-5d][%05d][%+d][% d][%#x]", 42, 42, 42, 42, 42, 255);
  ExpectWhatPrintfGives("[%.3d][%8.3d][%*d][%-*d][%*d]", 7, 7, 4, 7, 4, 7, -4, 7);
  ExpectWhatPrintfGives("[%.0d][%.*d][%.*d]", 0, 3, 5, -1, 0);
  ExpectWhatPrintfGives("%hd %hhd %hu %hhu", 65537, 257, 65537, 257);
  ExpectWhatPrintfGives("%ld %lu %lld %zu %td %jd", LONG_MIN, ULONG_MAX, LLONG_MIN, SIZE_MAX,
                        PTRDIFF_MIN, INTMAX_MIN);
  ExpectWhatPrintfGives("%f|%.2f|%08.2f|%e|%G|%a|%Lg", 1.5, -2.5, -2.5, 12345.678, 1e-10, 1.0,
                        2.5L);
  ExpectWhatPrintfGives("%.0f", 1e300);
  EXPECT_EQ(Format(u"%I64d %I32d", LLONG_MAX, -1), u"9223372036854775807 -1");
  EXPECT_EQ(Format(u"%Id", PTRDIFF_MIN), Format(u"%td", PTRDIFF_MIN));
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
  EXPECT_EQ(Format(u"[%5s][%-5s][%.1s][%5.1hs][%3c]", u"ёж", u"ёж", u"ёж", narrow, u'a'),
            u"[   ёж][ёж   ][ё][    ё][  a]");
  EXPECT_EQ(Format(u"%s %hs %.3s", nullptr, nullptr, nullptr), u"(null) (null) (nu");
  EXPECT_EQ(Format(u"a%cb%hcc", 0, 0), std::u16string(u"a\0b\0c", 5));
  const char16_t open[] = {u'a', u'b'};  // no terminator within the precision
  const char openNarrow[] = {'a', 'b'};
  EXPECT_EQ(Format(u"%.2s%.*hs", open, 2, openNarrow), u"abab");
}

TEST(WideFormat, LeavesWhatIsNoDirective) {
  for (const char16_t* text : {u"", u"100%", u"%5", u"%y %ё"}) EXPECT_EQ(Format(text), text);
  int untouched = 7;
  EXPECT_EQ(Format(u"a%nb%d%d", &untouched, 1, untouched), u"ab17");
}

}  // namespace
