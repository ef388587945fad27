// Conversions of short texts, the current code page and the functions with static results;
// case, unit by unit.

#include "kvorlib/encoding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "util/textsupport.h"

namespace {

using namespace std::string_view_literals;
using testing::StartsWith;

TEST(Utf8, EachBadByteAndLoneSurrogateGivesOneReplacement) {
  const std::pair<std::string_view, std::u16string_view> cases[] = {
      {"", u""},
      {"\xFF"
       "a\x80z",
       u"\uFFFDa\uFFFDz"},
      {"\xC0\x80", u"\uFFFD\uFFFD"},  // overlong
      {"\xF0\x82\x82\xAC", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xE2\x82z\xE2\x82", u"\uFFFD\uFFFDz\uFFFD\uFFFD"},  // cut
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},              // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},    // above 10FFFF
      {"\xF4\x8F\xBF\xBF\xEF\xBF\xBE", u"\xDBFF\xDFFF\uFFFE"},
      {"a\0b ёж 日 😀"sv, u"a\0b ёж 日 😀"sv}};
  for (const auto& [bytes, text] : cases)
    EXPECT_EQ(u8_w(bytes.data(), bytes.data() + bytes.size()), text)
        << testing::PrintToString(bytes);
  const std::u16string lone{u'a', 0xD800, u'b', 0xDC00, 0xDC00, 0xD83D, 0xD83D, 0xDE00, 0xD800};
  EXPECT_EQ(w_u8(lone.data(), lone.data() + lone.size()),
            "a\uFFFDb\uFFFD\uFFFD\uFFFD\U0001F600\uFFFD");
}

TEST(Conversion, TakesTheCodePageFromTheArgumentOrTheProcess) {
  const KeepCodePage keep;
  SetCP(1251);
  for (int utf8 : {-1, 65001}) {
    EXPECT_EQ(A2U("ёж", utf8), u"ёж");
    EXPECT_EQ(U2A(u"ёж", utf8), "ёж");
  }
  EXPECT_EQ(A2U("\xB8\xE6"), u"ёж");
  EXPECT_EQ(U2A(u"ёж", 866), "\xF1\xA6");
  EXPECT_EQ(GetLocal(), 1251);
  SetCP(-1);
  EXPECT_EQ(U2A(u"ёж", 0), "ёж");
  EXPECT_EQ(SetCP(0), 65001);
  EXPECT_EQ(A2U("abc"), u"abc");
}

TEST(Conversion, FailureNamesTheDirectionAndRestoresTheCodePage) {
  const KeepCodePage keep;
  SetCP(1251);
  EXPECT_EQ(Words([] { A2U("text", 12345); }),
            "ANSI to UTF16 conversion error\nWin32 Error: " + std::to_string(EINVAL));
  const std::string words = "UTF16 to ANSI conversion error\n";
  EXPECT_THAT(Words([] { U2A(u"", 1200); }), StartsWith(words));
  EXPECT_THAT(Words([] { U2A(u"日本", 932); }), StartsWith(words));
  EXPECT_EQ(GetLocal(), 1251);
}

TEST(Conversion, FixesLineEndsOnlyWhereTheyAreNotYetRight) {
  const std::string text = "\nодин\n\nдва\r\nтри\r\r\n\n\rчетыре\r";
  const std::u16string wide = u"\r\nодин\r\n\r\nдва\r\nтри\r\r\n\r\n\rчетыре\r";
  EXPECT_EQ(A2U(text, 65001, true), wide);
  EXPECT_EQ(U2A(wide, 65001, true), "\nодин\n\nдва\nтри\r\n\n\rчетыре\r");
  EXPECT_EQ(U2A(A2U(text, -1, false), -1, false), text);
}

TEST(StaticResults, LiveUntilTheNextCallOfTheSameFunction) {
  const KeepCodePage keep;
  SetCP(866);
  const char* fromUtf8 = MBSTR2STR("ёж");
  const char* fromWide = TSTR2STR(u"дом");
  EXPECT_EQ(STR2TSTR("\xF1\xA6"), std::u16string(u"ёж"));
  EXPECT_STREQ(fromUtf8, "\xF1\xA6");
  SetCP(12345);
  EXPECT_THAT(Words([] { TSTR2STR(u"a"); }), StartsWith("UTF16 to ANSI conversion error\n"));
  EXPECT_THAT(Words([] { STR2TSTR("a"); }), StartsWith("ANSI to UTF16 conversion error\n"));
  EXPECT_STREQ(fromWide, "\xA4\xAE\xAC");
}

TEST(LetterCase, MapsUnitByUnit) {
  const std::u16string cases[][4] = {
      // text, lower, upper, title
      {u"", u"", u"", u""},
      {u"привет МИР, Ёж", u"привет мир, ёж", u"ПРИВЕТ МИР, ЁЖ", u"Привет мир, ёж"},
      {u"straße", u"straße", u"STRAßE", u"Straße"},  // never two units for one
      {u"ÿ ΣΑΣ", u"ÿ σασ", u"Ÿ ΣΑΣ", u"Ÿ σασ"},
      {u"İIi", u"iii", u"İII", u"İii"},
      {u"𐐀𐐨 日", u"𐐀𐐨 日", u"𐐀𐐨 日", u"𐐀𐐨 日"}};  // pairs stay as they are
  for (const auto& [text, lower, upper, title] : cases) {
    EXPECT_EQ(to_lower(text), lower);
    EXPECT_EQ(to_upper(text), upper);
    EXPECT_EQ(to_title(text), title);
  }
}

}  // namespace
