// Conversions of short texts, the current code page and the helpers with static results.

#include "kvorlib/encoding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "kvorlib/errors.h"
#include "util/textsupport.h"

namespace {

using testing::StartsWith;

// The words of the Except that the call throws, or that there was none.
template <class Call>
std::string Words(Call call) {
  try {
    call();
    return "nothing was thrown";
  } catch (const Except& error) {
    return error.GetText();
  }
}

TEST(Utf8, EachBadByteGivesOneReplacement) {
  struct Case {
    std::string_view bytes;
    std::u16string_view text;
  };
  using namespace std::string_view_literals;
  const Case cases[] = {
      {"", u""},
      {"\xFF", u"\uFFFD"},
      {"\xC0\x80", u"\uFFFD\uFFFD"},  // overlong
      {"a\x80z", u"a\uFFFDz"},        // a trail byte alone
      {"\xE2\x82", u"\uFFFD\uFFFD"},  // cut
      {"\xE2\x82z", u"\uFFFD\uFFFDz"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above 10FFFF
      {"\xF0\x82\x82\xAC", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // overlong
      {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
      {"\xEF\xBF\xBE\xEF\xBF\xBF", u"\uFFFE\uFFFF"},  // noncharacters are characters here
      {"a\0b"sv, u"a\0b"sv},
      {"ёж 日 😀", u"ёж 日 😀"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(u8_w(c.bytes.data(), c.bytes.data() + c.bytes.size()), c.text)
        << testing::PrintToString(c.bytes);
}

TEST(Utf8, EachLoneSurrogateGivesOneReplacement) {
  const std::u16string text{u'a', 0xD800, u'b', 0xDC00, 0xDC00, 0xD83D, 0xD83D, 0xDE00, 0xD800};
  EXPECT_EQ(w_u8(text.data(), text.data() + text.size()),
            "a\uFFFDb\uFFFD\uFFFD\uFFFD\U0001F600\uFFFD");
}

TEST(Conversion, TakesTheCodePageFromTheArgumentOrTheProcess) {
  const KeepCodePage keep;
  for (int utf8 : {-1, 65001}) {
    EXPECT_EQ(A2U("ёж", utf8), u"ёж");
    EXPECT_EQ(U2A(u"ёж", utf8), "ёж");
  }
  SetCP(1251);
  EXPECT_EQ(A2U("\xB8\xE6"), u"ёж");
  EXPECT_EQ(U2A(u"ёж", 866), "\xF1\xA6");
  EXPECT_EQ(GetLocal(), 1251);
  SetCP(-1);
  EXPECT_EQ(GetLocal(), 65001);
  EXPECT_EQ(U2A(u"ёж", 0), "ёж");
  EXPECT_EQ(SetCP(0), 65001);
  EXPECT_EQ(A2U("abc"), u"abc");
}

TEST(Conversion, FailureNamesTheDirectionAndRestoresTheCodePage) {
  const KeepCodePage keep;
  SetCP(1251);
  EXPECT_EQ(Words([] { A2U("text", 12345); }),
            "ANSI to UTF16 conversion error\nWin32 Error: " + std::to_string(EINVAL));
  EXPECT_EQ(GetLocal(), 1251);
  EXPECT_THAT(Words([] { U2A(u"", 1200); }), StartsWith("UTF16 to ANSI conversion error\n"));
  EXPECT_EQ(GetLocal(), 1251);
  EXPECT_THAT(Words([] { U2A(u"日本", 932); }), StartsWith("UTF16 to ANSI conversion error\n"));
  EXPECT_EQ(U2A(u"ｶﾅ", 932), "\xB6\xC5");
  EXPECT_EQ(GetLocal(), 1251);
}

TEST(Conversion, FixesLineEnds) {
  struct Case {
    std::string narrow;
    std::u16string wide;
    std::string back;
  };
  const Case cases[] = {
      {"\n", u"\r\n", "\n"},
      {"\r\n", u"\r\n", "\n"},
      {"\n\n", u"\r\n\r\n", "\n\n"},
      {"a\r", u"a\r", "a\r"},
      {"\r\r\n", u"\r\r\n", "\r\n"},
      {"\n\r", u"\r\n\r", "\n\r"},
      {"один\nдва\n", u"один\r\nдва\r\n", "один\nдва\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(A2U(c.narrow, 65001, true), c.wide);
    EXPECT_EQ(U2A(c.wide, 65001, true), c.back);
    EXPECT_EQ(U2A(A2U(c.narrow, -1, false), -1, false), c.narrow);
  }
}

TEST(StaticResults, LiveUntilTheNextCallOfTheSameFunction) {
  const KeepCodePage keep;
  SetCP(866);
  const char* fromUtf8 = MBSTR2STR("ёж");
  const char* fromWide = TSTR2STR(u"дом");
  const char16_t* wide = STR2TSTR("\xF1\xA6");
  EXPECT_STREQ(fromUtf8, "\xF1\xA6");
  EXPECT_STREQ(fromWide, "\xA4\xAE\xAC");
  EXPECT_EQ(wide, std::u16string(u"ёж"));
  SetCP(12345);
  EXPECT_THAT(Words([] { TSTR2STR(u"a"); }), StartsWith("UTF16 to ANSI conversion error\n"));
  EXPECT_THAT(Words([] { MBSTR2STR("a"); }), StartsWith("UTF16 to ANSI conversion error\n"));
  EXPECT_THAT(Words([] { STR2TSTR("a"); }), StartsWith("ANSI to UTF16 conversion error\n"));
  EXPECT_STREQ(fromWide, "\xA4\xAE\xAC");
}

}  // namespace
